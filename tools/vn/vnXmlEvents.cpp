// SPDX-License-Identifier: MIT
#include "vnXmlEvents.h"

#include "vnStandardStreams.h"
#include "vnTool.h"

#include <vnBase/vnObject.h>
#include <vnBase/vnXmlSax.h>

#include <initializer_list>

namespace
{
/// Shows every notification: the level, the name of the callback without "on", the arguments in quotes.
class Events : public vnXmlSax
{
public:
    Events()
    {
        enableNotifyItemType(VN_XML_ALL_ITEMS);
        setMaxIdleNotifications(1000); // some documents notify without end
        setMaxDocumentSize(1u << 30);
    }

    unsigned char onVersion(const vnString& version) override { return show("Version", 0, {&version}); }
    unsigned char onEncoding(const vnString& encoding) override { return show("Encoding", 0, {&encoding}); }
    unsigned char onStandalone(unsigned char standalone) override
    {
        const vnString value(standalone ? "1" : "0");
        return show("Standalone", 0, {&value});
    }
    unsigned char onElementStart(const vnString& name, unsigned int level) override
    {
        return show("ElementStart", level, {&name});
    }
    unsigned char onElementAttributeEnd(const vnString& name, unsigned int level) override
    {
        return show("ElementAttributeEnd", level, {&name});
    }
    unsigned char onElementContents(const vnString& name, const vnString& contents,
                                    unsigned int level) override
    {
        return show("ElementContents", level, {&name, &contents});
    }
    unsigned char onElementContentsStart(const vnString& name, unsigned int level) override
    {
        return show("ElementContentsStart", level, {&name});
    }
    unsigned char onElementContentsEnd(const vnString& name, unsigned int level) override
    {
        return show("ElementContentsEnd", level, {&name});
    }
    unsigned char onElementEnd(const vnString& name, unsigned int level) override
    {
        return show("ElementEnd", level, {&name});
    }
    unsigned char onAttribute(const vnString& name, const vnString& value, unsigned int level) override
    {
        return show("Attribute", level, {&name, &value});
    }
    unsigned char onCharData(const vnString& text, unsigned int level) override
    {
        return show("CharData", level, {&text});
    }
    unsigned char onEntityReference(const vnString& name, unsigned int level,
                                    unsigned char inAttribute) override
    {
        const vnString value(inAttribute ? "1" : "0");
        return show("EntityReference", level, {&name, &value});
    }
    unsigned char onProcessingInstruction(const vnString& target, const vnString& data,
                                          unsigned int level) override
    {
        return show("ProcessingInstruction", level, {&target, &data});
    }
    unsigned char onCDATA(const vnString& text, unsigned int level) override
    {
        return show("CDATA", level, {&text});
    }
    unsigned char onComment(const vnString& text, unsigned int level) override
    {
        return show("Comment", level, {&text});
    }
    // Values and objects are shown by their types.
    unsigned char onDynamicType(const vnDynamicType& value, const vnString& name, unsigned int level) override
    {
        return show("DynamicType", level, {&value.getDynamicType(), &name});
    }
    unsigned char onObject(vnObject* object, const vnString& name, unsigned int level) override
    {
        const vnString type(object ? object->getTypeName() : "");
        return show("Object", level, {&type, &name});
    }
    unsigned char onCustomData(vnReference* data, const vnString& name, unsigned int level) override
    {
        const vnString type(data ? data->getTypeName() : "");
        return show("CustomData", level, {&type, &name});
    }
    vnString onFunction(const vnString& name, unsigned int level) override
    {
        show("Function", level, {&name});
        return vnXmlSax::onFunction(name, level);
    }

private:
    static unsigned char show(const char* what, unsigned int level,
                              std::initializer_list<const vnString*> texts)
    {
        std::string line = std::to_string(level) + " " + what;
        for (const vnString* text : texts)
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
    vnAdapter source = vnOpenStream(url, VN_SERIALIZE_INPUT);
    Events events;
    events.read(source.get());
    vnFlushResults();
    vnCheckError(source);
    if (events.hasError())
        throw vnFailure("line " + std::to_string(events.getLine() + 1) + ", column " +
                        std::to_string(events.getColumn() + 1) + ": " + events.getError().getString());
}
