// SPDX-License-Identifier: MIT
#include "vnTool.h"

#include "vnReceivers.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

const std::vector<vnCommand>& vnCommands()
{
    static const std::vector<vnCommand> commands = {
        {"cat", "URL...", "write what URLs hold to standard output, one after the other", "", vnRunCat},
        {"copy", "FROM-URL TO-URL", "copy what one URL holds to another",
         "What the target held before is lost. A file is not copied onto itself.\n"
         "    vn copy dummy:1000000 file:noise.bin\n",
         vnRunCopy},
        {"decode", "base64|hex|compress|scramble:NUMBER FROM-URL TO-URL", "undo what encode did",
         "A file that ends within a byte is an error, but for base64 in which a stray \"=\" ends the last "
         "group\n"
         "early: that is not noticed.\n"
         "    vn decode base64 mail.txt picture.png\n",
         vnRunDecode},
        {"encode", "base64|hex|compress|scramble:NUMBER FROM-URL TO-URL",
         "write what a URL holds as text, compressed or scrambled",
         "Base64 comes without padding and line ends.\n"
         "compress writes a block for each 1000000 bytes. scramble hides from a glance, not from an attack.\n"
         "    vn encode base64 picture.png -\n",
         vnRunEncode},
        {"format", "FORMAT [ARGUMENT...]", "print a text by the library's format engine",
         "Up to 16 arguments. Digits with an optional sign that fit 64 bits are an integer, digits with a "
         "point or\n"
         "an exponent are a number, anything else is a string; so is what stands behind a leading \"=\",\n"
         "which %s needs for digits.\n"
         "No word is an option, nor is --.\n"
         "    vn format '%-8s|%5d|%x' name 42 255\n"
         "    vn format '%s' =5\n",
         vnRunFormat},
        {"json", "[--strict] [--value] URL", "read JSON and write it again",
         "Texts are read and written in the wide form of the library; --strict reads and writes exactly\n"
         "RFC 8259. --value shows the value instead, a line each with its tag and text, indented by depth.\n"
         "At most 1 GiB is read, and as much written.\n"
         "    vn json --strict settings.json\n",
         vnRunJson},
        {"key", "get|set|remove|list [--machine] [--password P] KEY [VALUE]", "read and change settings",
         "get prints the value of a key of the user, or of the machine when the user has none; a key without "
         "a\n"
         "slash is looked for in the environment first. set and remove change what is stored for the user. "
         "list\n"
         "prints the stored keys below KEY, or all without one, with control characters written as \\n and "
         "the\n"
         "like. With --machine all of them work on the settings of the machine. --password scrambles and\n"
         "unscrambles names and values; list shows garbage for those with another password, or with none.\n"
         "    vn key set viewer/window/width 640\n"
         "    vn key get viewer/window/width\n",
         vnRunKey},
        {"match", "RULES-URL RULE INPUT-URL [--trace]", "match input against a grammar",
         "The rules can use fPush and the other functions of scanning. Prints OK, No Match or the error, "
         "then\n"
         "the number of characters consumed, then what was pushed, a line each, with control characters\n"
         "written as \\n and the like. An input that can't be read to its end is an error. The rules fHex, "
         "fStr,\n"
         "fToken and fEnd are there; RULES-URL can replace them. --trace shows the walk.\n",
         vnRunMatch},
        {"objects", "URL", "show the objects of a stream",
         "Prints a line per object (class, size, instance), user data item and attribute (name, tag, text or "
         "length),\n"
         "indented by depth. Of a class other than vnObject only identifier and size are shown.\n",
         vnRunObjects},
        {"scan", "FORMAT TEXT", "take a text apart by a format of scanning",
         "Prints each piece on a line of its own, with control characters written as \\n and the like; a "
         "text\n"
         "that does not match is a failure. No word is an option, nor is --.\n"
         "    vn scan '%i = %l x %l' 'size = 640 x 480'\n",
         vnRunScan},
        {"tokens", "[--strings] [--set] [--utf8] URL", "show the tokens of a text",
         "Prints line, column, kind and value of each. --strings reads quoted texts, --set sets in square\n"
         "brackets, --utf8 characters of UTF-8. Columns count bytes, of\n"
         "16-bit text its units; a byte order mark is left out.\n",
         vnRunTokens},
        {"url", "URL", "split a URL", "Prints base, path, name and attributes, a line each.\n", vnRunUrl},
        {"value", "TYPE TEXT", "show the bytes of a dynamic value on the wire",
         "TYPE is num, llnum, str, void, error, guid, vec2, vec3, vec4 or array.\n"
         "No word is an option, nor is --.\n"
         "    vn value vec2 1,2.5\n"
         "    vn value array \"[1, 'a', [yes]]\"\n",
         vnRunValue},
        {"words", "[--top N] [--threads N] URL...", "count the words of texts",
         "A word is a run of ASCII letters, digits and bytes above 127; letters are lower-cased, and a word "
         "is cut at\n"
         "1000 bytes. Prints the N most frequent words (20) as \"COUNT WORD\", the most frequent first, "
         "equal counts\n"
         "in the order of their bytes. N threads (as many as there are processors, up to 64) count.\n",
         vnRunWords},
        {"xml", "[--no-include] URL [PATH] | --events URL",
         "read an XML document and write it again, or a part of it",
         "PATH names an item, such as a/b[2], //b[@id='7'] or a/<char_data>; it is written in the bytes of\n"
         "its document (UTF-8 of 16-bit text) without a declaration; one that is not there ends with exit\n"
         "code 1. Documents that are included are read, and the instructions written; --no-include leaves\n"
         "them unread. At most 1 GiB is read.\n"
         "--events shows what the reader notifies, one line each: level, name of the callback, arguments.\n"
         "    vn xml settings.xml \"//item[@name='size']/<char_data>\"\n",
         vnRunXml},
    };
    return commands;
}

namespace
{
[[noreturn]] void failOutput()
{
    throw vnFailure(std::string("can't write to standard output: ") + std::strerror(errno));
}
} // namespace

void vnWriteResult(const void* data, std::size_t size)
{
    vnErrorOutput::get().clearProgress(); // both may be one terminal
    if (std::fwrite(data, 1, size, stdout) != size)
        failOutput();
}

void vnFlushResults()
{
    if (std::fflush(stdout) != 0)
        failOutput();
}

void vnWriteLine(const std::string& text)
{
    vnWriteResult(text.data(), text.size());
    vnWriteResult("\n", 1);
}
