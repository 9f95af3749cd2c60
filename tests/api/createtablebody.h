#ifndef QUORVA_TESTS_API_CREATETABLEBODY_H
#define QUORVA_TESTS_API_CREATETABLEBODY_H

#include <string>

/** The body of a CreateTable with the hash key "id" and, unless `rangeType` is empty, the range key `rangeName`. */
inline std::string createTableBody(const std::string& table, const std::string& hashType, const std::string& rangeName,
                                   const std::string& rangeType)
{
    std::string schema = R"({"AttributeName":"id","KeyType":"HASH"})";
    std::string attributes = R"({"AttributeName":"id","AttributeType":")" + hashType + "\"}";
    if (!rangeType.empty()) {
        const std::string range = R"(,{"AttributeName":")" + rangeName + "\",";
        schema += range + R"("KeyType":"RANGE"})";
        attributes += range + R"("AttributeType":")" + rangeType + "\"}";
    }
    return R"({"TableName":")" + table + R"(","BillingMode":"PAY_PER_REQUEST","KeySchema":[)" + schema +
           R"(],"AttributeDefinitions":[)" + attributes + "]}";
}

#endif
