#include "channel/funct_msg_lookup_table.h"

#include <gtest/gtest.h>

namespace passbridge {
namespace {

using Addresses = FunctMsgLookupTable::Addresses;

TEST(FunctMsgLookupTableTest, HoldsEachAddressOnceInTheOrderOfAddition) {
  FunctMsgLookupTable table;
  EXPECT_EQ(table.Add(Addresses{0x10, 0x10, 0x11}), (Addresses{0x10, 0x11}));
  EXPECT_EQ(table.Add(Addresses{0x12, 0x10}), (Addresses{0x10, 0x11, 0x12}));
  EXPECT_EQ(table.Remove(Addresses{0x10, 0x77}), (Addresses{0x11, 0x12}));
  EXPECT_TRUE(table.Contains(0x12));
  EXPECT_FALSE(table.Contains(0x10));
  table.Clear();
  EXPECT_EQ(table.Get(), Addresses{});
}

}  // namespace
}  // namespace passbridge
