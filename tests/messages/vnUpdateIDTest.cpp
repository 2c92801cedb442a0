// SPDX-License-Identifier: MIT
#include <vnBase/vnUpdateID.h>

#include <gtest/gtest.h>

TEST(vnUpdateID, CountsChanges)
{
    vnUpdateIDInterface producer;
    producer.updateID();
    producer.updateID();
    EXPECT_EQ(producer.getUpdateID(), 2u);
    producer.setUpdateID(0xFFFFFFFFu);
    producer.updateID();
    EXPECT_EQ(producer.getUpdateID(), 0u);
}

TEST(vnLookupUpdateID, GrowsByReadingAndForgetsWhatWasCleared)
{
    vnLookupUpdateID table;
    EXPECT_EQ(table.getUpdateID(9), 0u);
    table.setUpdateID(2, 77);
    EXPECT_EQ(table.getUpdateID(2), 77u);
    table.clear();
    EXPECT_EQ(table.getUpdateID(2), 0u);
}

TEST(vnUpdateIDFeature, TellsEachConsumerWhatItHasNotSeen)
{
    vnUpdateIDFeatureInterface producer;
    EXPECT_TRUE(producer.checkFeature(0x80000000u, 3)); // all has changed for a new consumer
    producer.setFeatureMask(0);
    EXPECT_FALSE(producer.checkFeature(~0u, 0));

    producer.updateID(4);
    producer.updateID(4);
    EXPECT_EQ(producer.getUpdateID(), 2u);
    EXPECT_TRUE(producer.checkFeature(4, 0));
    EXPECT_FALSE(producer.checkFeature(3, 0));
    producer.resetFeatureMask(4, 0);
    EXPECT_FALSE(producer.checkFeature(4, 0));
    EXPECT_TRUE(producer.checkFeature(4, 1));
}

TEST(vnUpdateIDFeature, GrowsByFourConsumers)
{
    vnUpdateIDFeatureInterface producer;
    producer.resetFeatureMask(1, 4);
    EXPECT_FALSE(producer.checkFeature(1, 4));
    EXPECT_TRUE(producer.checkFeature(2, 4));
    producer.setFeatureMask(0);
    EXPECT_FALSE(producer.checkFeature(~0u, 7)); // came with 4
    EXPECT_TRUE(producer.checkFeature(~0u, 8));  // did not exist when the mask was set
}
