// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnXmlItem.h>

#include <string_view>

/// The first step of a path, in its parts. All are views of the path.
struct vnXmlStep
{
    vnXmlStep() = default;
    explicit vnXmlStep(std::string_view path);

    /// Which child is meant, counted from 1; 0 for any.
    vnInt64 indexIn(vnXmlItem& parent) const;

    std::string_view path; // the whole
    std::string_view name;
    std::string_view expression; // between the brackets
    std::string_view rest;       // behind the first slash; empty for nothing
    bool hasIndex = false;
    bool isAtAnyDepth = false;
};
