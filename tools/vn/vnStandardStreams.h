// SPDX-License-Identifier: MIT
#pragma once

#include "vnInput.h"

/// Opens a URL as `vnOpenURL` does; "-" is standard input or standard output.
vnAdapter vnOpenStream(const std::string& url, vnSerializeAction action);
