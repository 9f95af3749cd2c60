#ifndef QUORVA_TESTS_CRASH_LEDGERTEXT_H
#define QUORVA_TESTS_CRASH_LEDGERTEXT_H

#include "ledger.h"

#include "json/jsonwriter.h"

#include <QVariantMap>

#include <cstddef>
#include <string>

/* How the error messages of a ledger name and show things. */

inline std::string nameOf(const ItemAddress& item)
{
    return (item.table + '/' + item.hash + '/' + item.range).toStdString();
}

inline std::string textOf(const QVariantMap& map)
{
    std::string text = Json::serialize(map).toStdString();
    constexpr std::size_t Longest = 200;
    if (text.size() > Longest)
        text = text.substr(0, Longest) + "... (" + std::to_string(text.size()) + " bytes)";
    return text;
}

#endif
