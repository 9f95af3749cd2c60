#include "protocol/operations.h"

#include "protocol/framing.h"

#include <gtest/gtest.h>

#include <algorithm>

TEST(OperationName, ShortNameGetsTheApiPrefix)
{
    EXPECT_EQ(Operations::fullName("PutItem"), "DynamoDB_20111205.PutItem");
    EXPECT_EQ(Operations::fullName(""), "DynamoDB_20111205.");
}

TEST(OperationName, NameWithADotStaysAsItIs)
{
    EXPECT_EQ(Operations::fullName("DynamoDB_20111205.PutItem"), "DynamoDB_20111205.PutItem");
    EXPECT_EQ(Operations::fullName("Other.PutItem"), "Other.PutItem");
    EXPECT_EQ(Operations::fullName("."), ".");
}

TEST(Operation, IsNamedByItsFullNameOnly)
{
    EXPECT_EQ(Operations::PutItem.fullName(), "DynamoDB_20111205.PutItem");
    EXPECT_EQ(Operations::Commit.fullName(), "Quorva_1.Commit");
    EXPECT_EQ(Operations::DescribeBackup.fullName(), "Quorva_1.DescribeBackup");
    EXPECT_EQ(Operations::ListTables.fullName(), "Quorva_1.ListTables");
    EXPECT_TRUE(Operations::PutItem.isNamed("DynamoDB_20111205.PutItem"));
    for (const char* other :
         {"PutItem", "DynamoDB_20111205.putItem", "dynamodb_20111205.PutItem", "DynamoDB_20120810.PutItem",
          "DynamoDB_20111205.PutItems", "DynamoDB_20111205.GetItem", "DynamoDB_20111205PPutItem", ""})
        EXPECT_FALSE(Operations::PutItem.isNamed(other)) << other;
}

TEST(Operation, OfTheApiAreElevenInTheOrderOfTheirNames)
{
    EXPECT_EQ(Operations::Api.size(), 11U);
    EXPECT_TRUE(std::is_sorted(Operations::Api.begin(), Operations::Api.end(),
                               [](const auto& a, const auto& b) { return a.name < b.name; }));
    for (const Operations::Operation& operation : Operations::Api) {
        EXPECT_EQ(operation.prefix, Operations::ApiPrefix) << operation.name;
        EXPECT_LE(operation.fullName().size(), qsizetype{Framing::MaxOperationNameLength}) << operation.name;
    }
}
