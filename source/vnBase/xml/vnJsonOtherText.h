// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicType.h>

/// The text of a value that JSON has no form for.
vnString vnJsonOtherText(const vnDynamicType& value);
