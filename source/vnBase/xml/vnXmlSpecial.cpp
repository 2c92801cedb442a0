// SPDX-License-Identifier: MIT
#include "vnXmlSpecial.h"

#include <vnBase/vnXmlSax.h>

bool vnXmlIsCustomElement(std::string_view)
{
    return false;
}

vnParseResult vnXmlSax::XML_read_91()
{
    return VN_PARSE_NO_MATCH;
}

vnParseResult vnXmlSax::XML_read_92()
{
    return VN_PARSE_NO_MATCH;
}

vnParseResult vnXmlSax::XML_read_93()
{
    return VN_PARSE_NO_MATCH;
}

void vnXmlSax::writeDynamicType(const vnDynamicType&, const vnString&, const vnString&) {}

void vnXmlSax::writeObject(const vnObject*, const vnString&, const vnString&) {}

void vnXmlSax::writeCustomData(const vnString&, const vnReference*, unsigned char) {}
