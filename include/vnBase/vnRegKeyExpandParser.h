// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnParserFunction.h>

/// Replaces the references in a text: $(KEY) by a setting of the user, which may come from the environment,
/// and ${NAME} by the address of the network interface whose name contains NAME (see `vnGetHostAddress`).
///
///     vnRegKeyExpandParser parser;
///     parser.setAdapter(adapter); // "$(HOME)/data"
///     vnString path = parser.parse();
///
/// A key that is not set gives nothing, an interface that is not there 0.0.0.0. No name at all, "${}", is in
/// each name: it gives the address of the first interface that is not the loopback one.
///
/// A byte order mark at the begin of the first input, if there is one, decides the encoding of all.
///
/// Thread-safety: none.
class VN_BASE_API vnRegKeyExpandParser : public vnParserFunction<vnRegKeyExpandParser>
{
public:
    vnRegKeyExpandParser();
    ~vnRegKeyExpandParser() noexcept(false) override;

    /// Reads the adapter to its end, or up to a reference that is not closed; the value of the latter stands
    /// at the end of the result. `getError()` tells that input was left ("Not All arguments were parsed"), or
    /// that the text got longer than 65535 bytes. Without an adapter the result is empty.
    vnString parse();

private:
    vnParseResult append(const vnString& text);
    vnParseResult failLength();
    vnParseResult appendText();
    vnParseResult appendKey();
    vnParseResult appendAddress();

    vnString m_result;
};
