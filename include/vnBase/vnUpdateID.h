// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicArray.h>

/// Counters by which a consumer sees that what a producer offers has changed: it keeps the number that it saw
/// last and compares. Thread-safety: none, for all classes of this header.

/// One counter, 0 at the start.
class VN_BASE_API vnUpdateIDInterface
{
public:
    unsigned int getUpdateID() const noexcept { return m_updateID; }
    void setUpdateID(unsigned int id) noexcept { m_updateID = id; }

    /// Tells of a change: the next number, after 0xFFFFFFFF again 0.
    void updateID() noexcept { ++m_updateID; }

private:
    unsigned int m_updateID = 0;
};

/// A table of such numbers, for a consumer that watches many producers.
class VN_BASE_API vnLookupUpdateID
{
public:
    /// Reading past the end makes the table larger; what was never set is 0.
    unsigned int getUpdateID(unsigned int index) { return at(index); }
    void setUpdateID(unsigned int index, unsigned int id) { at(index) = id; }
    void clear() noexcept { m_ids.clear(); }

private:
    unsigned int& at(unsigned int index);

    vnDynamicArray<unsigned int> m_ids{4};
};

/// A counter together with masks that tell each consumer, known by an index, which features have changed
/// since it last looked. Everything counts as changed for a consumer that has never looked.
///
///     if (image.checkFeature(VN_PIXELS, myIndex))
///     {
///         upload(image);
///         image.resetFeatureMask(VN_PIXELS, myIndex);
///     }
class VN_BASE_API vnUpdateIDFeatureInterface
{
public:
    vnUpdateIDFeatureInterface();

    unsigned int getUpdateID() const noexcept { return m_updateID; }
    void setUpdateID(unsigned int id) noexcept { m_updateID = id; }

    /// Tells of a change of the features in `mask` to all consumers.
    void updateID(unsigned int mask) noexcept;

    /// 1 when any feature of `mask` has changed for the consumer. The table grows to the consumers that ask.
    unsigned char checkFeature(unsigned int mask, unsigned int index);

    /// Takes the features of `mask` as seen by the consumer.
    void resetFeatureMask(unsigned int mask, unsigned int index);

    /// Makes `mask` the changed features of each consumer that the table covers.
    void setFeatureMask(unsigned int mask) noexcept;

private:
    unsigned int& at(unsigned int index);

    unsigned int m_updateID = 0;
    vnDynamicArray<unsigned int> m_masks{4};
};
