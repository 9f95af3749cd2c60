#include "api/operation.h"

#include "api/itemoperations.h"
#include "api/itemsteps.h"
#include "api/shapes.h"
#include "api/tableoperations.h"

#include <algorithm>
#include <array>

namespace Api {

namespace {

constexpr std::array Served{
    Operation{"BatchGetItem", &Inputs::BatchGetItem, batchGetItem},
    Operation{"BatchWriteItem", &Inputs::BatchWriteItem, batchWriteItem},
    Operation{"CreateTable", &Inputs::CreateTable, createTable},
    Operation{"DeleteItem", &Inputs::DeleteItem, nullptr, deleteItemSteps},
    Operation{"DeleteTable", &Inputs::DeleteTable, deleteTable},
    Operation{"DescribeContinuousBackups", &Inputs::DescribeContinuousBackups, describeContinuousBackups},
    Operation{"DescribeEndpoints", &Inputs::DescribeEndpoints, describeEndpoints},
    Operation{"DescribeLimits", &Inputs::DescribeLimits, describeLimits},
    Operation{"DescribeTable", &Inputs::DescribeTable, describeTable},
    Operation{"DescribeTimeToLive", &Inputs::DescribeTimeToLive, describeTimeToLive},
    Operation{"GetItem", &Inputs::GetItem, nullptr, getItemSteps},
    Operation{"ListTables", &Inputs::ListTables, listTables},
    Operation{"ListTagsOfResource", &Inputs::ListTagsOfResource, listTagsOfResource},
    Operation{"PutItem", &Inputs::PutItem, nullptr, putItemSteps},
    Operation{"Query", &Inputs::Query, query},
    Operation{"Scan", &Inputs::Scan, scan},
    Operation{"TagResource", &Inputs::TagResource, tagResource},
    Operation{"UntagResource", &Inputs::UntagResource, untagResource},
    Operation{"UpdateItem", &Inputs::UpdateItem, updateItem},
    Operation{"UpdateTable", &Inputs::UpdateTable, updateTable},
};

} // namespace

const Operation* findOperation(std::string_view name)
{
    const auto* const found =
        std::find_if(Served.begin(), Served.end(), [&](const Operation& served) { return served.name == name; });
    return found != Served.end() ? found : nullptr;
}

} // namespace Api
