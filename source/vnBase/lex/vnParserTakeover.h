// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBasicParser.h>

#include <utility>

/// Lets a parser read on where another one stands, as `continueParsingFrom` does, and lets that one read on
/// behind it at the end. What is remembered is moved there and back: copying it, as it may be 128 KiB, would
/// cost more than most of what is read so. Meanwhile the other parser remembers nothing.
class vnParserTakeover
{
public:
    vnParserTakeover(vnBasicParser& inner, vnBasicParser& outer) : m_inner(inner), m_outer(outer)
    {
        outer.flushTail();
        inner.m_adapter = outer.m_adapter.get();
        inner.m_progressTotal = outer.m_progressTotal;
        inner.m_useProgress = outer.m_useProgress;
        if (outer.m_useProgress)
            inner.m_progressMessage = outer.m_progressMessage;
        inner.m_lexer = outer.m_lexer; // for the encoding, which nothing changes any more
        inner.m_isDetected = outer.m_isDetected;
        inner.m_maxBufferSize = outer.m_maxBufferSize;
        moveState(inner, outer);
    }
    vnParserTakeover(const vnParserTakeover&) = delete;
    vnParserTakeover& operator=(const vnParserTakeover&) = delete;

    /// Also hands over the error of the parser.
    ~vnParserTakeover()
    {
        try
        {
            m_inner.flushTail();
        }
        catch (...)
        {
            // Out of memory for what is remembered, of which nothing is kept then.
        }
        moveState(m_outer, m_inner);
        if (m_inner.m_error.isEmpty())
            return;
        m_outer.m_error = std::move(m_inner.m_error);
        m_inner.m_error.clear();
    }

private:
    static void moveState(vnBasicParser& to, vnBasicParser& from) noexcept
    {
        to.m_history.swap(from.m_history);
        to.m_historyEnd = std::exchange(from.m_historyEnd, 0);
        to.m_remembered = std::exchange(from.m_remembered, 0);
        to.m_lastPercent = from.m_lastPercent;
        to.m_line = from.m_line;
        to.m_column = from.m_column;
        to.m_previousColumn = from.m_previousColumn;
        to.m_tokenPos = from.m_tokenPos;
        to.m_lineBegin = from.m_lineBegin;
    }

    vnBasicParser& m_inner;
    vnBasicParser& m_outer;
};
