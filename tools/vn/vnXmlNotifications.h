// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnObject.h>
#include <vnBase/vnXmlSax.h>

#include <initializer_list>

/// Hands every notification of a reader on to one function.
class vnXmlNotifications : public vnXmlSax
{
public:
    unsigned char onVersion(const vnString& version) override
    {
        return onNotification("Version", 0, {&version});
    }
    unsigned char onEncoding(const vnString& encoding) override
    {
        return onNotification("Encoding", 0, {&encoding});
    }
    unsigned char onStandalone(unsigned char standalone) override
    {
        const vnString value(standalone ? "1" : "0");
        return onNotification("Standalone", 0, {&value});
    }
    unsigned char onElementStart(const vnString& name, unsigned int level) override
    {
        return onNotification("ElementStart", level, {&name});
    }
    unsigned char onElementAttributeEnd(const vnString& name, unsigned int level) override
    {
        return onNotification("ElementAttributeEnd", level, {&name});
    }
    unsigned char onElementContents(const vnString& name, const vnString& contents,
                                    unsigned int level) override
    {
        return onNotification("ElementContents", level, {&name, &contents});
    }
    unsigned char onElementContentsStart(const vnString& name, unsigned int level) override
    {
        return onNotification("ElementContentsStart", level, {&name});
    }
    unsigned char onElementContentsEnd(const vnString& name, unsigned int level) override
    {
        return onNotification("ElementContentsEnd", level, {&name});
    }
    unsigned char onElementEnd(const vnString& name, unsigned int level) override
    {
        return onNotification("ElementEnd", level, {&name});
    }
    unsigned char onAttribute(const vnString& name, const vnString& value, unsigned int level) override
    {
        return onNotification("Attribute", level, {&name, &value});
    }
    unsigned char onCharData(const vnString& text, unsigned int level) override
    {
        return onNotification("CharData", level, {&text});
    }
    unsigned char onEntityReference(const vnString& name, unsigned int level,
                                    unsigned char inAttribute) override
    {
        const vnString value(inAttribute ? "1" : "0");
        return onNotification("EntityReference", level, {&name, &value});
    }
    unsigned char onProcessingInstruction(const vnString& target, const vnString& data,
                                          unsigned int level) override
    {
        return onNotification("ProcessingInstruction", level, {&target, &data});
    }
    unsigned char onCDATA(const vnString& text, unsigned int level) override
    {
        return onNotification("CDATA", level, {&text});
    }
    unsigned char onComment(const vnString& text, unsigned int level) override
    {
        return onNotification("Comment", level, {&text});
    }
    unsigned char onDynamicType(const vnDynamicType& value, const vnString& name, unsigned int level) override
    {
        return onNotification("DynamicType", level, {&value.getDynamicType(), &name});
    }
    unsigned char onObject(vnObject* object, const vnString& name, unsigned int level) override
    {
        const vnString type(object ? object->getTypeName() : "");
        return onNotification("Object", level, {&type, &name});
    }
    unsigned char onCustomData(vnReference* data, const vnString& name, unsigned int level) override
    {
        const vnString type(data ? data->getTypeName() : "");
        return onNotification("CustomData", level, {&type, &name});
    }
    vnString onFunction(const vnString& name, unsigned int level) override
    {
        onNotification("Function", level, {&name});
        return vnXmlSax::onFunction(name, level);
    }

protected:
    /// `what` is the name of the callback without "on". Truth values are "1" and "0", values and objects are
    /// told by their types. What it answers is the answer of the callback.
    virtual unsigned char onNotification(const char* what, unsigned int level,
                                         std::initializer_list<const vnString*> arguments) = 0;
};
