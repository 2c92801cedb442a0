// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

#include <typeinfo>

/// The name of a class as its source has it, also of one without a type record of its own.
vnString vnClassName(const std::type_info& type);
