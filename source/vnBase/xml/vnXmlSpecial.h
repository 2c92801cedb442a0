// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// Whether elements of this name hold custom data. It is asked for every element.
bool vnXmlIsCustomElement(std::string_view name);
