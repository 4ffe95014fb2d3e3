// The lists kept to answer again: only for the tag they were built under, one per slot, within
// their byte budget, least recently used out first.
#include "AnswerCache.h"

#include <QTest>

class tst_AnswerCache final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void givenOnlyForItsTag() {
        AnswerCache cache(1000);
        cache.insert("u1-a0", "\"r1\"", "first");
        QCOMPARE(cache.find("u1-a0", "\"r1\""), std::optional<QByteArray>("first"));
        QCOMPARE(cache.find("u1-a0", "\"r2\""), std::nullopt);
        QCOMPARE(cache.find("u1-a1", "\"r1\""), std::nullopt);
    }

    // A newer answer for a slot takes the older one's place rather than sitting beside it.
    void oneAnswerPerSlot() {
        AnswerCache cache(1000);
        cache.insert("u1-a0", "\"r1\"", QByteArray(100, 'a'));
        cache.insert("u1-a0", "\"r2\"", QByteArray(50, 'b'));
        QCOMPARE(cache.size(), 1);
        QCOMPARE(cache.bytes(), 50);
        QCOMPARE(cache.find("u1-a0", "\"r1\""), std::nullopt);
        QCOMPARE(cache.find("u1-a0", "\"r2\""), std::optional<QByteArray>(QByteArray(50, 'b')));
    }

    void leastRecentlyUsedGoesFirst() {
        AnswerCache cache(1000);
        cache.insert("a", "t", QByteArray(200, 'a'));
        cache.insert("b", "t", QByteArray(200, 'b'));
        cache.insert("c", "t", QByteArray(200, 'c'));
        QVERIFY(cache.find("a", "t")); // a is now the most recent; b the least
        cache.insert("d", "t", QByteArray(200, 'd'));
        cache.insert("e", "t", QByteArray(200, 'e'));
        QCOMPARE(cache.bytes(), 1000);
        cache.insert("f", "t", QByteArray(200, 'f'));
        QCOMPARE(cache.find("b", "t"), std::nullopt);
        for (const char* slot : {"a", "c", "d", "e", "f"})
            QVERIFY2(cache.find(slot, "t"), slot);
        QVERIFY(cache.bytes() <= 1000);
    }

    // An answer over a quarter of the budget is not kept, and takes out what its slot held.
    void tooLargeIsNotKept() {
        AnswerCache cache(1000);
        cache.insert("a", "t1", QByteArray(100, 'a'));
        cache.insert("a", "t2", QByteArray(251, 'a'));
        QCOMPARE(cache.find("a", "t2"), std::nullopt);
        QCOMPARE(cache.find("a", "t1"), std::nullopt);
        QCOMPARE(cache.bytes(), 0);
        cache.insert("a", "t3", QByteArray(250, 'a'));
        QVERIFY(cache.find("a", "t3"));
    }

    void aSmallerBudgetLetsGo() {
        AnswerCache cache(1000);
        cache.insert("a", "t", QByteArray(200, 'a'));
        cache.insert("b", "t", QByteArray(200, 'b'));
        cache.setBudget(300);
        QCOMPARE(cache.bytes(), 200);
        QVERIFY(cache.find("b", "t"));
        cache.setBudget(0);
        QCOMPARE(cache.size(), 0);
        cache.insert("c", "t", "x");
        QCOMPARE(cache.find("c", "t"), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(tst_AnswerCache)
#include "tst_AnswerCache.moc"
