// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnTool.h"
#include "vnXmlDocument.h"
#include "vnXmlEvents.h"

void vnRunXml(vnArguments& arguments)
{
    const bool isEvents = arguments.takeFlag("--events");
    const bool readsIncluded = !arguments.takeFlag("--no-include");
    const std::vector<std::string> operands = arguments.takeOperands(1, isEvents ? 1 : 2);
    if (isEvents)
        vnShowXmlEvents(operands[0]); // which includes nothing
    else
        vnShowXmlDocument(operands[0], operands.size() > 1 ? operands[1] : "", readsIncluded);
}
