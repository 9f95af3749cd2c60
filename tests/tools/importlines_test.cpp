#include "tools/importlines.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using Ctl::ImportLines;
using Ctl::ImportMark;

void expectMark(const ImportMark& mark, long long line, long long stored, long long refused)
{
    EXPECT_EQ(std::tie(mark.line, mark.stored, mark.refused), std::tie(line, stored, refused));
}

} // namespace

TEST(ImportLinesTest, TheMarkStaysBeforeTheFirstOpenLine)
{
    ImportLines lines({10, 7, 3});
    expectMark(lines.mark(), 10, 7, 3);
    lines.addItem(); // 11
    lines.addItem();
    lines.addEmpty();
    lines.addRefused(); // 14
    lines.addItem();
    lines.addItem(); // 16
    expectMark(lines.mark(), 10, 7, 3);
    lines.setStored(12);
    lines.setStored(16);
    expectMark(lines.mark(), 10, 7, 3);
    expectMark(lines.all(), 16, 9, 4);
    lines.setStored(11);
    expectMark(lines.mark(), 14, 9, 4);
    lines.setStored(15);
    expectMark(lines.mark(), 16, 11, 4);
    expectMark(lines.all(), 16, 11, 4);
}

TEST(ImportLinesTest, LinesWithoutAnItemAreDoneImmediately)
{
    ImportLines lines({});
    lines.addEmpty();
    lines.addRefused();
    expectMark(lines.mark(), 2, 0, 1);
    lines.addItem();
    lines.setStored(3);
    expectMark(lines.mark(), 3, 1, 1);
}

TEST(ImportLinesTest, WhatTheServerRefusedIsDoneWhenItIsConfirmed)
{
    ImportLines lines({});
    for (int i = 0; i < 4; ++i)
        lines.addItem();
    lines.setRefused(1);
    lines.setRefused(3);
    lines.setStored(2);
    expectMark(lines.mark(), 0, 0, 0);
    expectMark(lines.all(), 4, 1, 2);
    lines.confirmRefused();
    expectMark(lines.mark(), 3, 1, 2);
    lines.setRefused(4);
    expectMark(lines.mark(), 3, 1, 2);
    expectMark(lines.all(), 4, 1, 3);
}
