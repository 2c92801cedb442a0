// SPDX-License-Identifier: MIT
#include "vnXmlTestTools.h"

#include <gtest/gtest.h>

namespace
{
const char sample[] = R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>
<!-- head --><?go there?>
<!DOCTYPE doc SYSTEM "x" [<!ELEMENT doc (a|b)*><!ATTLIST doc id ID #IMPLIED>]>
<doc id="1" b='x &amp; y'>text<a/><b encoding="hex">one &lt; two</b><![CDATA[<&]]> <!--c--><?pi?></doc>
)";
} // namespace

TEST(vnXmlSax, NotifiesADocument)
{
    EXPECT_EQ(vnRecord(sample), "0 Version [1.0]\n"
                                "0 Encoding [UTF-8]\n"
                                "0 Standalone no\n"
                                "0 Comment [ head ]\n"
                                "0 PI [go] [there]\n"
                                "1 ElementStart [doc]\n"
                                "1 Attribute [id] [1]\n"
                                "1 EntityInAttribute [amp]\n"
                                "1 Attribute [b] [x &amp; y]\n"
                                "1 CharData [text]\n"
                                "2 ElementStart [a]\n"
                                "2 ElementEnd [a]\n"
                                "2 ElementStart [b]\n"
                                "2 Attribute [encoding] [hex]\n"
                                "2 CharData [one ]\n"
                                "2 Entity [lt]\n"
                                "2 CharData [ two]\n"
                                "2 ElementEnd [b]\n"
                                "1 CDATA [<&]\n"
                                "1 CharData [ ]\n"
                                "1 Comment [c]\n"
                                "1 PI [pi] []\n"
                                "1 ElementEnd [doc]\n");
}
