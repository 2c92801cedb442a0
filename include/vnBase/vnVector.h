// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <cmath>

/// Vectors of two, three and four components, as plain values: `vnVec3_<float> up(0, 1, 0);`. They start as
/// zeros. The components are public and stand one behind the other, in this order, so that a vector can be
/// handed on as an array: `&up.x`.
///
/// Thread-safety: plain values.
template <class T>
struct vnVec2_
{
    T x{};
    T y{};

    constexpr vnVec2_() noexcept = default;
    constexpr vnVec2_(T x_, T y_) noexcept : x(x_), y(y_) {}

    constexpr vnVec2_ operator-() const { return {-x, -y}; }
    constexpr vnVec2_ operator+(const vnVec2_& v) const { return {x + v.x, y + v.y}; }
    constexpr vnVec2_ operator-(const vnVec2_& v) const { return {x - v.x, y - v.y}; }
    constexpr vnVec2_ operator*(T factor) const { return {x * factor, y * factor}; }
    constexpr vnVec2_ operator/(T divisor) const { return {x / divisor, y / divisor}; }
    constexpr vnVec2_& operator+=(const vnVec2_& v) { return *this = *this + v; }
    constexpr vnVec2_& operator-=(const vnVec2_& v) { return *this = *this - v; }
    constexpr vnVec2_& operator*=(T factor) { return *this = *this * factor; }
    constexpr vnVec2_& operator/=(T divisor) { return *this = *this / divisor; }
    constexpr bool operator==(const vnVec2_& v) const { return x == v.x && y == v.y; }
    constexpr bool operator!=(const vnVec2_& v) const { return !(*this == v); }

    constexpr T dot(const vnVec2_& v) const { return x * v.x + y * v.y; }
    T length() const { return std::sqrt(dot(*this)); }
};

template <class T>
struct vnVec3_
{
    T x{};
    T y{};
    T z{};

    constexpr vnVec3_() noexcept = default;
    constexpr vnVec3_(T x_, T y_, T z_) noexcept : x(x_), y(y_), z(z_) {}

    constexpr vnVec3_ operator-() const { return {-x, -y, -z}; }
    constexpr vnVec3_ operator+(const vnVec3_& v) const { return {x + v.x, y + v.y, z + v.z}; }
    constexpr vnVec3_ operator-(const vnVec3_& v) const { return {x - v.x, y - v.y, z - v.z}; }
    constexpr vnVec3_ operator*(T factor) const { return {x * factor, y * factor, z * factor}; }
    constexpr vnVec3_ operator/(T divisor) const { return {x / divisor, y / divisor, z / divisor}; }
    constexpr vnVec3_& operator+=(const vnVec3_& v) { return *this = *this + v; }
    constexpr vnVec3_& operator-=(const vnVec3_& v) { return *this = *this - v; }
    constexpr vnVec3_& operator*=(T factor) { return *this = *this * factor; }
    constexpr vnVec3_& operator/=(T divisor) { return *this = *this / divisor; }
    constexpr bool operator==(const vnVec3_& v) const { return x == v.x && y == v.y && z == v.z; }
    constexpr bool operator!=(const vnVec3_& v) const { return !(*this == v); }

    constexpr T dot(const vnVec3_& v) const { return x * v.x + y * v.y + z * v.z; }

    /// The vector that is perpendicular to both; x cross y is z.
    constexpr vnVec3_ cross(const vnVec3_& v) const
    {
        return {y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x};
    }
    T length() const { return std::sqrt(dot(*this)); }
};

template <class T>
struct vnVec4_
{
    T x{};
    T y{};
    T z{};
    T w{};

    constexpr vnVec4_() noexcept = default;
    constexpr vnVec4_(T x_, T y_, T z_, T w_) noexcept : x(x_), y(y_), z(z_), w(w_) {}

    constexpr vnVec4_ operator-() const { return {-x, -y, -z, -w}; }
    constexpr vnVec4_ operator+(const vnVec4_& v) const { return {x + v.x, y + v.y, z + v.z, w + v.w}; }
    constexpr vnVec4_ operator-(const vnVec4_& v) const { return {x - v.x, y - v.y, z - v.z, w - v.w}; }
    constexpr vnVec4_ operator*(T factor) const { return {x * factor, y * factor, z * factor, w * factor}; }
    constexpr vnVec4_ operator/(T divisor) const
    {
        return {x / divisor, y / divisor, z / divisor, w / divisor};
    }
    constexpr vnVec4_& operator+=(const vnVec4_& v) { return *this = *this + v; }
    constexpr vnVec4_& operator-=(const vnVec4_& v) { return *this = *this - v; }
    constexpr vnVec4_& operator*=(T factor) { return *this = *this * factor; }
    constexpr vnVec4_& operator/=(T divisor) { return *this = *this / divisor; }
    constexpr bool operator==(const vnVec4_& v) const { return x == v.x && y == v.y && z == v.z && w == v.w; }
    constexpr bool operator!=(const vnVec4_& v) const { return !(*this == v); }

    constexpr T dot(const vnVec4_& v) const { return x * v.x + y * v.y + z * v.z + w * v.w; }
    T length() const { return std::sqrt(dot(*this)); }
};
