// SPDX-License-Identifier: MIT
#include "vnXmlEvents.h"

#include "vnInput.h"
#include "vnTool.h"
#include "vnXmlNotifications.h"

#include <vnBase/vnBaseError.h>

namespace
{
/// Shows every notification: the level, the name of the callback without "on", the arguments in quotes.
class Events : public vnXmlNotifications
{
public:
    Events()
    {
        enableNotifyItemType(VN_XML_ALL_ITEMS);
        setMaxIdleNotifications(1000); // some documents notify without end
        setMaxDocumentSize(1u << 30);
    }

    unsigned char onDynamicType(const vnDynamicType& value, const vnString& name, unsigned int level) override
    {
        vnString text;
        try
        {
            text = value.asString(1);
        }
        catch (const vnBaseError&) // longer than a string may be
        {
            return vnXmlNotifications::onDynamicType(value, name, level);
        }
        return onNotification("DynamicType", level, {&value.getDynamicType(), &text, &name});
    }

private:
    unsigned char onNotification(const char* what, unsigned int level,
                                 std::initializer_list<const vnString*> arguments) override
    {
        std::string line = std::to_string(level) + " " + what;
        for (const vnString* text : arguments)
        {
            line += " \"";
            append(line, *text);
            line += '"';
        }
        vnWriteLine(line);
        return 1;
    }

    // What would break the line, or end the quotes, is escaped.
    static void append(std::string& line, const vnString& text)
    {
        static const char digits[] = "0123456789abcdef";
        for (const char* next = text.getString(); next != text.getString() + text.length(); ++next)
        {
            const auto byte = static_cast<unsigned char>(*next);
            if (*next == '\n')
                line += "\\n";
            else if (*next == '"' || *next == '\\')
                line.append("\\") += *next;
            else if (byte < 0x20 || byte == 0x7F)
                line.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
            else
                line += *next;
        }
    }
};
} // namespace

void vnShowXmlEvents(const std::string& url)
{
    vnAdapter source = vnOpenURL(url, VN_SERIALIZE_INPUT);
    Events events;
    events.read(source.get());
    vnFlushResults();
    vnCheckError(source);
    if (events.hasError())
        throw vnFailure("line " + std::to_string(events.getLine() + 1) + ", column " +
                        std::to_string(events.getColumn() + 1) + ": " + events.getError().getString());
}
