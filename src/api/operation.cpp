#include "api/operation.h"

#include "api/shapes.h"
#include "api/tableoperations.h"

#include <algorithm>
#include <array>

namespace Api {

namespace {

constexpr std::array Served{
    Operation{"CreateTable", &Inputs::CreateTable, createTable},
    Operation{"DeleteTable", &Inputs::DeleteTable, deleteTable},
    Operation{"DescribeTable", &Inputs::DescribeTable, describeTable},
    Operation{"ListTables", &Inputs::ListTables, listTables},
};

} // namespace

const Operation* findOperation(std::string_view name)
{
    const auto found =
        std::find_if(Served.begin(), Served.end(), [&](const Operation& served) { return served.name == name; });
    return found != Served.end() ? &*found : nullptr;
}

} // namespace Api
