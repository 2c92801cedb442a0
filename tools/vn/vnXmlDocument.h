// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Reads a document and writes it again, or with a path the item at its end. Throws `vnFailure` when the
/// document, or one that it includes, can't be read, and when there is no such item.
void vnShowXmlDocument(const std::string& url, const std::string& path, bool readsIncluded);
