// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

/// Reads a setting of the user: of the environment, when the key is a plain name. The value is empty when
/// there is none. Answers whether a string can hold the value; it is empty, too, if not.
bool vnGetUserKey(const vnString& key, vnString& value);
