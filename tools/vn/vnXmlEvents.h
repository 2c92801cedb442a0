// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Reads a document and writes one line for each notification. Throws `vnFailure` behind the last one when
/// the document can't be read.
void vnShowXmlEvents(const std::string& url);
