// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

/// The value of a setting of the user: of the environment, when the key is a plain name. Empty when there is
/// none.
vnString vnGetUserKey(const vnString& key);
