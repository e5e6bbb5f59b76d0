#include <gtest/gtest.h>

#include "Categories/NSArray+OvrinCore.h"
#include "Categories/NSMutableArray+OvrinCore.h"
#include "Categories/NSNumber+OvrinCore.h"
#include "Categories/NSSet+OvrinCore.h"
#include "Platform/Objects/OVNException.h"

namespace {

OVNArrayRef abc() { return OVNArray::make({OVNValue("a"), OVNValue("b"), OVNValue("c")}, false); }

std::string joined(const OVNArrayRef& array) {
  std::string text;
  for (const OVNValue& element : *array) text += element.description();
  return text;
}

TEST(NSArrayOvrinCoreTest, EditsReturnNewImmutableArrays) {
  OVNArrayRef array = abc();
  EXPECT_EQ(joined(ovn_reversedArray(array)), "cba");
  EXPECT_EQ(joined(ovn_arrayByAddingObject(array, "d")), "abcd");
  EXPECT_EQ(joined(ovn_arrayByInsertingObject(array, "x", 1)), "axbc");
  EXPECT_EQ(joined(ovn_arrayByReplacingObjectAtIndex(array, 2, "z")), "abz");
  EXPECT_EQ(joined(ovn_arrayByRemovingObjectAtIndex(array, 0)), "bc");
  EXPECT_EQ(joined(ovn_arrayByMovingObjectAtIndex(array, 0, 2)), "bca");
  EXPECT_EQ(joined(ovn_arrayByRemovingObject(OVNArray::make({OVNValue("a"), OVNValue("b"), OVNValue("a")}), "a")), "b");
  EXPECT_FALSE(ovn_arrayByAddingObject(array, "d")->isMutable());
  EXPECT_EQ(joined(array), "abc") << "the receiver is unchanged";
}

TEST(NSArrayOvrinCoreTest, IndexChecksAcceptTheCountAndLeaveTheRestToTheArray) {
  OVNArrayRef array = abc();
  EXPECT_EQ(joined(ovn_arrayByInsertingObject(array, "d", 3)), "abcd") << "index == count appends";
  EXPECT_EQ(ovn_arrayByInsertingObject(array, "d", 4), array) << "count + 1 gives the receiver itself";
  EXPECT_EQ(ovn_arrayByReplacingObjectAtIndex(array, 4, "z"), array);
  EXPECT_EQ(ovn_arrayByReplacingObjectAtIndex(array, 0, OVNValue()), array) << "nothing to put there";
  EXPECT_EQ(ovn_arrayByRemovingObjectAtIndex(array, 4), array);
  EXPECT_EQ(ovn_arrayByMovingObjectAtIndex(array, 0, 4), array);
  // An index equal to the count passes the check and meets the array's range check.
  EXPECT_THROW(ovn_arrayByReplacingObjectAtIndex(array, 3, "z"), OVNException);
  EXPECT_THROW(ovn_arrayByRemovingObjectAtIndex(array, 3), OVNException);
  EXPECT_THROW(ovn_arrayByMovingObjectAtIndex(array, 0, 3), OVNException);
  EXPECT_THROW(ovn_arrayByMovingObjectAtIndex(array, 7, 1), OVNException) << "only the destination is checked";
}

TEST(NSArrayOvrinCoreTest, MapAndFilterHonourTheStopFlag) {
  OVNArrayRef numbers = OVNArray::make({OVNValue(1), OVNValue(2), OVNValue(3), OVNValue(4)});
  OVNArrayRef doubledEvens = ovn_mapObjectsUsingBlock(numbers, [](const OVNValue& n, std::size_t, bool*) -> OVNValue {
    const auto value = *n.longLongValue();
    return value % 2 == 0 ? OVNValue(value * 2) : OVNValue();
  });
  EXPECT_EQ(joined(doubledEvens), "48");
  std::vector<std::size_t> indexes;
  OVNArrayRef firstTwo = ovn_filterObjectsUsingBlock(numbers, [&](const OVNValue&, std::size_t index, bool* stop) {
    indexes.push_back(index);
    *stop = index == 1;
    return true;
  });
  EXPECT_EQ(joined(firstTwo), "12");
  EXPECT_EQ(indexes, (std::vector<std::size_t>{0, 1}));
  EXPECT_TRUE(ovn_isEmpty(ovn_mapObjectsUsingBlock(numbers, [](const OVNValue&, std::size_t, bool* stop) {
    *stop = true;
    return OVNValue();
  })));
  EXPECT_TRUE(ovn_isEmpty(OVNArrayRef()));
  EXPECT_FALSE(ovn_isEmpty(numbers));
}

TEST(NSArrayOvrinCoreTest, ReverseSwapsInPlace) {
  OVNArrayRef array = OVNArray::make({OVNValue(0), OVNValue(1), OVNValue(2), OVNValue(3)});
  ovn_reverse(array);
  EXPECT_EQ(joined(array), "3210");
  OVNArrayRef odd = OVNArray::make({OVNValue(1), OVNValue(2), OVNValue(3)});
  ovn_reverse(odd);
  EXPECT_EQ(joined(odd), "321");
  OVNArrayRef one = OVNArray::make({OVNValue(1)});
  ovn_reverse(one);
  EXPECT_EQ(joined(one), "1");
  EXPECT_THROW(ovn_reverse(abc()), OVNException) << "an immutable array cannot be reversed in place";
}

TEST(NSArrayOvrinCoreTest, SetFilterKeepsMatchingMembers) {
  OVNSetRef set = OVNSet::make({OVNValue(1), OVNValue(2), OVNValue(3), OVNValue(4)});
  OVNSetRef evens =
      ovn_filterObjectsUsingBlock(set, [](const OVNValue& n, bool*) { return *n.longLongValue() % 2 == 0; });
  EXPECT_EQ(evens->count(), 2u);
  EXPECT_TRUE(evens->contains(OVNValue(2)));
  EXPECT_TRUE(evens->contains(OVNValue(4)));
  EXPECT_EQ(set->count(), 4u);
  std::size_t visited = 0;
  ovn_filterObjectsUsingBlock(set, [&](const OVNValue&, bool* stop) {
    ++visited;
    *stop = true;
    return true;
  });
  EXPECT_EQ(visited, 1u);
}

TEST(NSArrayOvrinCoreTest, RoundingToAnIntervalIsSinglePrecisionWithHalvesUp) {
  const auto rounded = [](double value, double interval) {
    return ovn_roundToNearestInterval(OVNNumber::floating(value), interval).doubleValue();
  };
  EXPECT_EQ(rounded(7.5, 5), 10.0);
  EXPECT_EQ(rounded(7.4, 5), 5.0);
  EXPECT_EQ(rounded(-2.5, 5), 0.0);
  EXPECT_EQ(rounded(-2.6, 5), -5.0);
  EXPECT_EQ(rounded(0.3, 0.1), static_cast<double>(0.3f)) << "the result is a 32-bit float";
  EXPECT_EQ(rounded(16777217.0, 1), 16777216.0) << "the value is read as a 32-bit float";
  EXPECT_TRUE(ovn_roundToNearestInterval(OVNNumber::integer(12), 5).isFloating());
}

}  // namespace
