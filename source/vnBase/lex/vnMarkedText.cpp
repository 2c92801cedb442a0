// SPDX-License-Identifier: MIT
#include "vnMarkedText.h"

void vnIgnoreByteOrderMarks(vnBasicParser& parser)
{
    // A mark is looked for at the first character only, so that one is read here that is none.
    const vnString blank(" ");
    {
        const vnTextInput input(parser, blank);
        parser.getNextToken(0);
    }
    parser.reset();
}
