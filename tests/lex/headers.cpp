// SPDX-License-Identifier: MIT
// Writes how many tokens of each kind the files have that are named on standard input: the names of the kinds
// first, then a line of counts for each file.
#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnSerializeLex.h>

#include <cstdio>
#include <iostream>
#include <string>

int main()
{
    constexpr unsigned int kinds = 11; // as many bits as there are kinds
    std::puts("token identifier string quoted integer real large comment space error set");
    for (std::string name; std::getline(std::cin, name);)
    {
        vnRefPointer<vnSerializeAdapterFile> file(new vnSerializeAdapterFile(
            name.c_str(), VN_SERIALIZE_INPUT, 0, VN_ADAPTER_SILENT | VN_ADAPTER_NO_EXPANSION));
        vnSerializeLex lex;
        lex.useStrings(1);
        unsigned int counts[kinds] = {};
        for (lex.read(file); lex.getDataType() != VN_LEX_NONE; lex.read(file))
            for (unsigned int i = 0; i < kinds; ++i)
                counts[i] += lex.getDataType() >> i & 1;
        for (const unsigned int count : counts)
            std::printf("%u ", count);
        std::puts("");
    }
    return 0;
}
