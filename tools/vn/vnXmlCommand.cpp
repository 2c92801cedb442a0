// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnTool.h"
#include "vnXmlDocument.h"

void vnRunXml(vnArguments& arguments)
{
    const bool readsIncluded = !arguments.takeFlag("no-include");
    const std::vector<std::string> operands = arguments.takeOperands(1, 2);
    vnShowXmlDocument(operands[0], operands.size() > 1 ? operands[1] : "", readsIncluded);
}
