// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMatrix.h>
#include <vnBase/vnSerializeBinary.h>
#include <vnBase/vnVector.h>

/// What the items of vectors and matrices have in common: `count` floats that stand on the stream in the
/// order in which `Value` stores them, all in one wire order.
template <class Value, unsigned int count>
class vnSerializeFloats : public vnSerializeData
{
public:
    explicit vnSerializeFloats(const Value& value = Value(), unsigned char bigEndian = 1)
    {
        for (vnSerializeBinary<float>& component : m_components)
            component.setBigEndian(bigEndian);
        setValue(value);
    }

    Value getValue() const noexcept
    {
        float values[count];
        for (unsigned int i = 0; i < count; ++i)
            values[i] = m_components[i].getValue();
        Value value;
        std::memcpy(static_cast<void*>(&value), values, sizeof values);
        return value;
    }
    void setValue(const Value& value) noexcept
    {
        static_assert(sizeof(Value) == count * sizeof(float) && std::is_trivially_copyable_v<Value>);
        float values[count];
        std::memcpy(values, &value, sizeof values);
        for (unsigned int i = 0; i < count; ++i)
            m_components[i].setValue(values[i]);
    }
    operator Value() const noexcept { return getValue(); }

    void write(vnSerializeAdapter* adapter) override
    {
        for (vnSerializeBinary<float>& component : m_components)
            component.write(adapter);
    }
    void read(vnSerializeAdapter* adapter) override
    {
        for (vnSerializeBinary<float>& component : m_components)
            component.read(adapter);
    }
    void pushBack(vnSerializeAdapter* adapter) override
    {
        for (unsigned int i = count; i > 0; --i)
            m_components[i - 1].pushBack(adapter);
    }
    unsigned int getDataSize(vnSerializeAdapter*) const override { return count * sizeof(float); }

private:
    vnSerializeBinary<float> m_components[count];
};

/// Vectors and matrices as items of streams, big-endian unless the constructor is told otherwise.
///
///     vnSerializeVec3 position(vnVec3_<float>(1, 2, 3));
///     position.write(adapter); // 3F 80 00 00, 40 00 00 00, 40 40 00 00
class vnSerializeVec2 : public vnSerializeFloats<vnVec2_<float>, 2>
{
public:
    using vnSerializeFloats::vnSerializeFloats;
    vnSerializeVec2& operator=(const vnVec2_<float>& value)
    {
        setValue(value);
        return *this;
    }
};

class vnSerializeVec3 : public vnSerializeFloats<vnVec3_<float>, 3>
{
public:
    using vnSerializeFloats::vnSerializeFloats;
    vnSerializeVec3& operator=(const vnVec3_<float>& value)
    {
        setValue(value);
        return *this;
    }
};

class vnSerializeVec4 : public vnSerializeFloats<vnVec4_<float>, 4>
{
public:
    using vnSerializeFloats::vnSerializeFloats;
    vnSerializeVec4& operator=(const vnVec4_<float>& value)
    {
        setValue(value);
        return *this;
    }
};

/// The elements in the order of `values`.
class vnSerializeMatrix3 : public vnSerializeFloats<vnMatrix3_<float>, 9>
{
public:
    using vnSerializeFloats::vnSerializeFloats;
    vnSerializeMatrix3& operator=(const vnMatrix3_<float>& value)
    {
        setValue(value);
        return *this;
    }
};

class vnSerializeMatrix4 : public vnSerializeFloats<vnMatrix4_<float>, 16>
{
public:
    using vnSerializeFloats::vnSerializeFloats;
    vnSerializeMatrix4& operator=(const vnMatrix4_<float>& value)
    {
        setValue(value);
        return *this;
    }
};
