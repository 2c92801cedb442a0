// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnRegKeyExpandParser.h>

/// `vnRegKeyExpandedString` for those to whom half a text is worse than none: false when it has a fault or
/// becomes too long, and `expanded` is what came before that.
bool vnExpandRegKeys(const vnString& text, vnString& expanded);
