// SPDX-License-Identifier: MIT
#pragma once

#include "vnInput.h"

/// Standard input, or standard output, which is called "-".
vnAdapter vnOpenStandardStream(vnSerializeAction action);
