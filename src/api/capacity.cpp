#include "api/capacity.h"

#include "api/members.h"

#include <algorithm>
#include <string_view>

namespace Api {

namespace {

constexpr std::size_t ReadUnitBytes = 4096;
constexpr std::size_t WriteUnitBytes = 1024;

std::size_t unitsOf(std::size_t bytes, std::size_t unitBytes)
{
    return std::max<std::size_t>(1, (bytes + unitBytes - 1) / unitBytes);
}

std::string_view wantedLevel(const Items::JsonValue& request)
{
    return textIn(request, "ReturnConsumedCapacity");
}

void putUnits(double units, JsonWriter* writer)
{
    putName("CapacityUnits", writer);
    writer->Double(units);
}

} // namespace

double Capacity::ofRead(std::size_t bytes, bool isConsistent)
{
    return static_cast<double>(unitsOf(bytes, ReadUnitBytes)) * (isConsistent ? 1.0 : 0.5);
}

double Capacity::ofWrite(std::size_t bytes)
{
    return static_cast<double>(unitsOf(bytes, WriteUnitBytes));
}

bool Capacity::isWanted(const Items::JsonValue& request)
{
    const std::string_view level = wantedLevel(request);
    return level == "TOTAL" || level == "INDEXES";
}

void Capacity::write(const Items::JsonValue& request, const Table& table, double units, JsonWriter* writer)
{
    writer->StartObject();
    putUnits(units, writer);
    if (wantedLevel(request) == "INDEXES") {
        putName("Table", writer);
        writer->StartObject();
        putUnits(units, writer);
        writer->EndObject();
    }
    put("TableName", table.name.shown, writer);
    writer->EndObject();
}

void Capacity::writeMember(const Items::JsonValue& request, const Table& table, double units, JsonWriter* writer)
{
    if (!isWanted(request))
        return;
    putName("ConsumedCapacity", writer);
    write(request, table, units, writer);
}

} // namespace Api
