// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnVector.h>

/// Square matrices of three and four rows, as plain values. They start as the identity. The elements are
/// stored column by column: `values[3 * column + row]` and `values[4 * column + row]`; a vector is multiplied
/// from the right, so that the last column of a `vnMatrix4_` holds a translation.
///
///     vnMatrix4_<float> place;
///     place(0, 3) = 10; // row 0, column 3: ten along x
///     vnVec4_<float> moved = place * vnVec4_<float>(1, 0, 0, 1);
///
/// Rows and columns count from 0 and are not checked.
///
/// Thread-safety: plain values.
template <class T>
struct vnMatrix3_
{
    static constexpr unsigned int VN_ROWS = 3;

    T values[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

    constexpr T& operator()(unsigned int row, unsigned int column) { return values[column * VN_ROWS + row]; }
    constexpr const T& operator()(unsigned int row, unsigned int column) const
    {
        return values[column * VN_ROWS + row];
    }

    constexpr vnVec3_<T> getColumn(unsigned int column) const
    {
        const T* v = values + column * VN_ROWS;
        return {v[0], v[1], v[2]};
    }
    constexpr vnMatrix3_& setColumn(unsigned int column, const vnVec3_<T>& v)
    {
        T* to = values + column * VN_ROWS;
        to[0] = v.x;
        to[1] = v.y;
        to[2] = v.z;
        return *this;
    }

    constexpr vnVec3_<T> operator*(const vnVec3_<T>& v) const
    {
        return getColumn(0) * v.x + getColumn(1) * v.y + getColumn(2) * v.z;
    }
    constexpr vnMatrix3_ operator*(const vnMatrix3_& other) const
    {
        vnMatrix3_ result;
        for (unsigned int column = 0; column < VN_ROWS; ++column)
            result.setColumn(column, *this * other.getColumn(column));
        return result;
    }

    constexpr vnMatrix3_ transposed() const
    {
        vnMatrix3_ result;
        for (unsigned int column = 0; column < VN_ROWS; ++column)
            for (unsigned int row = 0; row < VN_ROWS; ++row)
                result(column, row) = (*this)(row, column);
        return result;
    }
    constexpr T determinant() const { return getColumn(0).dot(getColumn(1).cross(getColumn(2))); }

    constexpr bool operator==(const vnMatrix3_& other) const
    {
        return getColumn(0) == other.getColumn(0) && getColumn(1) == other.getColumn(1) &&
               getColumn(2) == other.getColumn(2);
    }
    constexpr bool operator!=(const vnMatrix3_& other) const { return !(*this == other); }
};

template <class T>
struct vnMatrix4_
{
    static constexpr unsigned int VN_ROWS = 4;

    T values[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    constexpr T& operator()(unsigned int row, unsigned int column) { return values[column * VN_ROWS + row]; }
    constexpr const T& operator()(unsigned int row, unsigned int column) const
    {
        return values[column * VN_ROWS + row];
    }

    constexpr vnVec4_<T> getColumn(unsigned int column) const
    {
        const T* v = values + column * VN_ROWS;
        return {v[0], v[1], v[2], v[3]};
    }
    constexpr vnMatrix4_& setColumn(unsigned int column, const vnVec4_<T>& v)
    {
        T* to = values + column * VN_ROWS;
        to[0] = v.x;
        to[1] = v.y;
        to[2] = v.z;
        to[3] = v.w;
        return *this;
    }

    constexpr vnVec4_<T> operator*(const vnVec4_<T>& v) const
    {
        return getColumn(0) * v.x + getColumn(1) * v.y + getColumn(2) * v.z + getColumn(3) * v.w;
    }
    constexpr vnMatrix4_ operator*(const vnMatrix4_& other) const
    {
        vnMatrix4_ result;
        for (unsigned int column = 0; column < VN_ROWS; ++column)
            result.setColumn(column, *this * other.getColumn(column));
        return result;
    }

    constexpr vnMatrix4_ transposed() const
    {
        vnMatrix4_ result;
        for (unsigned int column = 0; column < VN_ROWS; ++column)
            for (unsigned int row = 0; row < VN_ROWS; ++row)
                result(column, row) = (*this)(row, column);
        return result;
    }

    constexpr bool operator==(const vnMatrix4_& other) const
    {
        return getColumn(0) == other.getColumn(0) && getColumn(1) == other.getColumn(1) &&
               getColumn(2) == other.getColumn(2) && getColumn(3) == other.getColumn(3);
    }
    constexpr bool operator!=(const vnMatrix4_& other) const { return !(*this == other); }
};
