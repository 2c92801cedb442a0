// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnString.h>

#include <string>
#include <string_view>
#include <vector>

/// A format without parts of a grammar: one thing after the other, each of which matches in one way only. Its
/// grammar needs no walk; what `run` answers is what a walk over it would.
class vnPlainFormat
{
public:
    /// What `letter` stands for behind a "%". Answers false when that is no part of a plain format.
    bool addDirective(char letter);
    void addText(std::string_view text);

    /// There is something to match, and not too much.
    bool isGood() const noexcept { return !m_steps.empty() && m_pieces <= VN_MAX_PIECES; }

    vnArray<vnString> run(const vnString& text, unsigned char* ok) const;

private:
    static constexpr unsigned int VN_MAX_PIECES = 16;

    struct Step
    {
        char letter; // NUL for a text
        std::string text;
    };

    std::vector<Step> m_steps;
    unsigned int m_pieces = 0;
};
