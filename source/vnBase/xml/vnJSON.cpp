// SPDX-License-Identifier: MIT
#include <vnBase/vnJSON.h>

#include "vnJsonReader.h"
#include "vnJsonWriter.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnSerializeAdapterString.h>

#include <lex/vnMarkedText.h>

vnType vnJSON::s_type(nullptr, "vnJSON");

namespace
{
// Lets go of the input, and of what its mark said, however the reading ends, which takes no memory.
class InputScope
{
public:
    explicit InputScope(vnBasicParser& parser) : m_parser(parser), m_encoding(parser) {}
    InputScope(const InputScope&) = delete;
    InputScope& operator=(const InputScope&) = delete;
    ~InputScope() noexcept(false)
    {
        m_encoding.restore(m_parser);
        vnParserCursor(m_parser).dropInput();
    }

private:
    vnBasicParser& m_parser;
    const vnParserCursor::Encoding m_encoding;
};
} // namespace

vnJSON::vnJSON() = default;

vnJSON::~vnJSON() noexcept(false) = default;

void vnJSON::write(vnSerializeAdapter* adapter)
{
    if (!adapter)
        return;
    if (m_results.isEmpty())
        m_results.append(vnDynamicType());
    writeValue(adapter, m_results[0]);
}

void vnJSON::writeValue(vnSerializeAdapter* adapter, const vnDynamicType& value)
{
    if (!adapter)
        return;
    vnJsonWriter writer(*adapter, m_isStrict, m_maxDepth, m_maxSize);
    writer.write(value);
    if (!writer.getError().isEmpty())
        setError("%s", writer.getError());
}

void vnJSON::read(vnSerializeAdapter* adapter)
{
    if (!adapter)
        return;
    const InputScope input(*this);
    setAdapter(adapter);
    if (!hasProgressMessage())
        setProgressMessage("Reading JSON data from %s", adapter->getURL());
    m_results.reallocate(0);
    vnJsonReader reader(*this, m_isStrict, m_maxDepth, m_maxSize);
    try
    {
        reader.readAll(m_results);
        reportProgress(1);
    }
    catch (const vnBasicParseException&)
    {
        // The error is set.
    }
}

void vnJSON::pushBack(vnSerializeAdapter*) {}

unsigned int vnJSON::getDataSize(vnSerializeAdapter*) const
{
    return 0;
}

void vnJSON::setData(const vnDynamicType& value)
{
    m_results.reallocate(0);
    m_results.append(value);
}

vnDynamicType vnJSON::getData() const
{
    if (hasError())
        return vnDynamicTypeError(getError());
    if (m_results.isEmpty())
        return vnDynamicTypeError("Empty Result");
    if (m_results.getSize() == 1)
        return m_results.get(0);
    return vnDynamicTypeArray(m_results);
}

vnDynamicType vnJSON::takeData()
{
    const bool isSingle = !hasError() && m_results.getSize() == 1;
    vnDynamicType value = isSingle ? std::move(m_results[0]) : getData();
    m_results.reallocate(0);
    return value;
}

vnDynamicType vnDynamicType::fromJSON(const vnString& text, unsigned char strict)
{
    vnTextAdapter adapter(text);
    vnJSON json;
    json.useProgress(0);
    json.setStrict(strict);
    json.read(&adapter);
    return json.takeData();
}

vnString vnDynamicType::asJSON(unsigned char strict) const
{
    vnSerializeAdapterString text;
    vnJSON json;
    json.setStrict(strict);
    json.setMaxSize(vnString::VN_MAX_LENGTH);
    json.writeValue(&text, *this);
    if (json.hasError())
        vnExceptionThrows::vnThrowFatal("vnDynamicType::asJSON: %s", json.getError());
    return text;
}
