// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

/// Stands for a terminator that no byte equals.
constexpr unsigned int vnNoTerminator = 256;

/// Reads a text as `vnSerializeString` does: up to the terminator, which is taken, or to the end of the data.
/// `first` is a byte of the text that was read already, or negative.
void vnReadText(vnSerializeAdapter* adapter, unsigned int terminator, vnString& to, int first = -1);
