#ifndef QUORVA_TESTS_LIBRARY_ITEMRANGEFIXTURE_H
#define QUORVA_TESTS_LIBRARY_ITEMRANGEFIXTURE_H

#include "libraryfixture.h"

#include <utility>

class LibraryItemRange : public LibraryTest {
protected:
    /** Range keys in byte order; the empty one cannot be used as a start key. */
    static inline const QStringList Ranges{
        "", "%%", "-5", "A", "a", "a a", "ab", "abc", "b", "\u00e9", "\u00ff", "\u00ff\u00ff", "\u00ff\u00ffa"};

    void putRanges()
    {
        for (const QString& range : Ranges)
            put("k", range, {{"x", Quorva::S(range)}});
        put("j", "before");
        put("l", "behind");
    }

    /** The range keys of an item range, whose requests must all succeed. */
    static QStringList rangesOf(Quorva::ItemRange items)
    {
        QStringList found;
        for (const Quorva::Item& item : items)
            found.append(Quorva::text(item, "r"));
        EXPECT_TRUE(items.result().ok()) << items.result().errorText().toStdString();
        return found;
    }

    static QStringList rangesOf(const Quorva::Result& page)
    {
        QStringList found;
        for (const Quorva::Item& item : page.items())
            found.append(Quorva::text(item, "r"));
        EXPECT_TRUE(page.ok()) << page.errorText().toStdString();
        return found;
    }

    /** The range keys that query() returns page by page, each page starting after the last key of the previous one, and
     * the sum of the pages' counts. */
    std::pair<QStringList, int> readByPages(Quorva::QueryOptions options)
    {
        QStringList found;
        int count = 0;
        for (qsizetype pages = 0; pages < 2 * Ranges.size(); ++pages) {
            const Quorva::Result page = connection_.query(table_, "k", options);
            found += rangesOf(page);
            options.countOnly = true;
            const Quorva::Result counted = connection_.query(table_, "k", options);
            options.countOnly = false;
            EXPECT_FALSE(counted.reply().contains("Items"));
            EXPECT_EQ(counted.lastKey(), page.lastKey());
            count += counted.count();
            options.startKey = page.lastKey();
            if (!options.startKey)
                return {found, count};
        }
        ADD_FAILURE() << "there is no last page";
        return {found, count};
    }

    void expectQuery(Quorva::QueryOptions options, const QStringList& expected)
    {
        for (const int limit : {0, 1, 2, 3, 5, 100}) {
            options.limit = limit;
            EXPECT_EQ(rangesOf(connection_.queryAll(table_, "k", options)), expected) << "limit " << limit;
        }
    }
};

#endif
