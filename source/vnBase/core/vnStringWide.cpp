// SPDX-License-Identifier: MIT
#include <vnBase/vnString.h>

#include <core/vnControlLetter.h>
#include <core/vnEternal.h>
#include <core/vnScratch.h>
#include <core/vnUtfScan.h>

#include <vnBase/vnCleanupReference.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnThreadData.h>

#include <algorithm>
#include <atomic>

namespace
{
// Calls `receive` with each character of a text up to the first malformed sequence, as long as it answers
// true.
template <class Receive>
void eachCharacter(const char* text, unsigned int length, Receive receive)
{
    for (unsigned int i = 0; i < length;)
    {
        const unsigned char size = vnUtf::sequenceSize(text + i);
        if (size == 0 || !receive(vnUtf::decode(text + i, size)))
            return;
        i += size;
    }
}

// A backslash before one of these stands for itself.
bool isSign(char character)
{
    return character == '"' || character == '\'' || character == '?' || character == '\\';
}

// The letter of the backslash form; 0 when the character has none.
char controlLetter(char character)
{
    return isSign(character) ? character : vnControlLetter(static_cast<unsigned char>(character));
}

// The character that a letter behind a backslash means. False for an unlisted one.
bool controlOfLetter(char letter, char& character)
{
    const int control = vnControlOfLetter(static_cast<unsigned char>(letter));
    character = control < 0 ? letter : static_cast<char>(control);
    return control >= 0 || isSign(letter);
}

// Whether a text of `length` bytes, at least one, begins with a backslash form, and the character it means.
bool isControlForm(const char* text, unsigned int length, char& character)
{
    return *text == '\\' && length > 1 && controlOfLetter(text[1], character);
}

bool hasControlForm(const char* text, unsigned int length)
{
    char character;
    for (const char* const end = text + length;; ++text)
    {
        text = static_cast<const char*>(std::memchr(text, '\\', static_cast<std::size_t>(end - text)));
        if (!text)
            return false;
        if (isControlForm(text, static_cast<unsigned int>(end - text), character))
            return true;
    }
}

struct WideStringData : public vnThreadData<vnDynamicArray<char16_t>>
{
    static constexpr unsigned int VN_RING = 10;

    WideStringData() : vnThreadData(VN_RING) {}
};

// Never destroyed, since destructors of statics convert texts too.
WideStringData& wideStringData()
{
    static vnEternal<WideStringData> data;
    return data.value;
}

std::atomic<bool> areWideStringsTied{false}; // to the cleanup below

// Lets go of the buffers of all threads, with the statics or already with the cleanup references. Whoever
// comes later gets new ones.
class WideStringDataCleanup : public vnReference
{
public:
    ~WideStringDataCleanup() noexcept(false) override
    {
        areWideStringsTied = false;
        wideStringData().clear();
    }
};

// The object is not made within the initialisation of the static: entering it takes the lock of the cleanup
// references, and a pass over them that converts texts waits for that initialisation under the lock.
void tieWideStrings()
{
    static vnMemCheck<vnCleanupReference> cleanup(nullptr, 0);
    if (areWideStringsTied.load(std::memory_order_relaxed) || !cleanup.isValidMemory() ||
        areWideStringsTied.exchange(true))
        return;
    try
    {
        static_cast<vnCleanupReference&>(cleanup) = new WideStringDataCleanup;
    }
    catch (...)
    {
        areWideStringsTied = false;
        throw;
    }
}

vnDynamicArray<char16_t>& nextWideString()
{
    // The buffers belong to the library, whoever asked first.
    vnPrivateMemoryScope scope;
    tieWideStrings();
    return wideStringData().get();
}

template <class Character>
unsigned int encodedSize(const Character* text, unsigned int& count)
{
    unsigned int size = 0;
    for (unsigned int i = 0; i < count; ++i)
    {
        const unsigned int next = size + vnUtf::sizeOf(static_cast<unsigned int>(text[i]));
        if (next > vnString::VN_MAX_LENGTH)
        {
            count = i;
            break;
        }
        size = next;
    }
    return size;
}

template <class Character>
void encodeAll(char* to, const Character* text, unsigned int count)
{
    for (unsigned int i = 0; i < count; ++i)
    {
        const unsigned char size = vnUtf::sizeOf(static_cast<unsigned int>(text[i]));
        vnUtf::encode(to, static_cast<unsigned int>(text[i]), size);
        to += size;
    }
}
} // namespace

// Each unit by itself, so that surrogates become two characters. A text of more than 65535 bytes is cut
// between two characters.
template <class Character>
void vnString::assignCharacters(const Character* text, unsigned int count)
{
    const unsigned int size = encodedSize(text, count);
    if (size == 0)
    {
        clear();
        return;
    }
    vnString fresh;
    encodeAll(fresh.start(size), text, count);
    *this = std::move(fresh);
}

template void vnString::assignCharacters(const char16_t* text, unsigned int count);
template void vnString::assignCharacters(const char32_t* text, unsigned int count);

vnString& vnString::scramble(unsigned int key)
{
    vnScratch<char16_t> scratch(m_length);
    char16_t* const units = scratch.get();
    const unsigned int count = getWideString(units, 0);
    const char16_t step = static_cast<char16_t>(key);
    char16_t running = step;
    for (unsigned int i = 0; i < count; ++i)
    {
        units[i] = static_cast<char16_t>(units[i] ^ running);
        running = static_cast<char16_t>(running + step);
    }
    assignCharacters(units, count);
    return *this;
}

vnArray<char16_t> vnString::getWideBSTR() const
{
    vnArray<char16_t> result(getWideStringLength() + 1u);
    result[0] = static_cast<char16_t>(getWideString(result.data() + 1, 0));
    return result;
}

unsigned char vnString::isAsciiString() const noexcept
{
    return !vnUtf::isValid(getString(), m_length);
}

unsigned char vnString::hasEscapedUTF8Chars() const noexcept
{
    return vnUtf::plainLength(getString(), m_length) != m_length;
}

vnString vnString::convertAsciiToUTF8() const
{
    if (!isAsciiString())
        return *this;
    vnScratch<char16_t> scratch(m_length);
    std::transform(m_text, m_text + m_length, scratch.get(),
                   [](char byte) { return static_cast<char16_t>(static_cast<unsigned char>(byte)); });
    return vnString(scratch.get(), m_length, 0);
}

vnString vnString::convertUTF8ToAscii() const
{
    if (isAsciiString())
        return *this;
    vnString result;
    if (m_length == 0)
        return result;
    vnScratch<char16_t> scratch(m_length);
    const unsigned short count = getWideString(scratch.get(), 0);
    return vnString(scratch.get(), count, 1);
}

vnString vnString::convertCtrlToText(unsigned char escapeBlank) const
{
    const auto formSize = [escapeBlank](char byte) {
        return controlLetter(byte) ? 2u : byte == ' ' && escapeBlank ? 4u : 1u;
    };

    // What does not fit any more is left out, whole forms only.
    unsigned int size = 0;
    unsigned int count = 0;
    while (count < m_length && size + formSize(m_text[count]) <= VN_MAX_LENGTH)
        size += formSize(m_text[count++]);
    vnString result;
    if (size == 0)
        return result;
    char* to = result.start(size);
    for (unsigned int i = 0; i < count; ++i)
    {
        const char byte = m_text[i];
        if (const char letter = controlLetter(byte))
        {
            *to++ = '\\';
            *to++ = letter;
        }
        else if (byte == ' ' && escapeBlank)
            to = std::copy_n("\\040", 4, to);
        else
            *to++ = byte;
    }
    return result;
}

vnString vnString::convertTextToCtrl() const
{
    if (!hasControlForm(getString(), m_length))
        return *this; // keeps the id of an interned text
    vnString result;
    char* to = result.start(m_length);
    for (unsigned int i = 0; i < m_length; ++i)
    {
        char character;
        if (!isControlForm(m_text + i, m_length - i, character))
        {
            // A backslash before an unlisted letter stays too, so that the text stays readable.
            *to++ = m_text[i];
            continue;
        }
        *to++ = character;
        ++i;
    }
    *to = 0;
    result.m_length = static_cast<unsigned short>(to - result.m_text);
    return result;
}

vnString vnString::convertUTF8ToNumList(const vnString& format, const vnString& separator) const
{
    vnScratch<char16_t> scratch(m_length);
    const unsigned int count = getWideString(scratch.get(), 0);
    vnDynamicArray<char> list(1000);
    for (unsigned int i = 0; i < count; ++i)
    {
        const vnString number(static_cast<double>(scratch.get()[i]), format);
        const unsigned int parting = i == 0 ? 0 : separator.length();
        if (list.getSize() + parting + number.length() > VN_MAX_LENGTH)
            break;
        list.append(separator.getString(), parting);
        list.append(number.getString(), number.length());
    }
    return vnString(list.data(), static_cast<unsigned short>(list.getSize()));
}

unsigned short vnString::getWideStringLength() const noexcept
{
    unsigned short count = 0;
    eachCharacter(getString(), m_length,
                  [&count](unsigned int)
                  {
                      ++count;
                      return true;
                  });
    return count;
}

unsigned short vnString::getWideString(char16_t* buffer, unsigned char terminate) const noexcept
{
    if (!buffer)
        return 0;
    char16_t* to = buffer;
    eachCharacter(getString(), m_length,
                  [&to](unsigned int character)
                  {
                      *to++ = static_cast<char16_t>(character);
                      return true;
                  });
    if (terminate)
        *to = 0;
    return static_cast<unsigned short>(to - buffer);
}

const char16_t* vnString::getWideString(unsigned short length) const
{
    const unsigned int count = length ? length : getWideStringLength();
    vnDynamicArray<char16_t>& units = nextWideString();
    {
        vnPrivateMemoryScope scope;
        units.setSize(count + 1);
    }
    char16_t* to = units.data();
    char16_t* const end = to + count;
    eachCharacter(getString(), m_length,
                  [&to, end](unsigned int character)
                  {
                      if (to == end)
                          return false;
                      *to++ = static_cast<char16_t>(character);
                      return true;
                  });
    *to = 0;
    return units.data();
}
