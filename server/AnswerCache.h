#pragma once

#include <QByteArray>
#include <QHash>

#include <list>
#include <optional>

// Answers already built, kept by what they answer (a user's list in one form) with the entity tag
// they were built under. A client polling an unchanged list without If-None-Match, or several
// clients of one user, get the same bytes again without a read; any change moves the tag, so a
// kept answer is only ever given for the tag it was made for. Bounded by bytes, least recently
// used first out.
class AnswerCache final {
public:
    explicit AnswerCache(qsizetype budgetBytes = defaultBudget);

    // The answer kept for `slot` when it was built under `tag`.
    std::optional<QByteArray> find(const QByteArray& slot, const QByteArray& tag);
    // Keeps `body` for `slot` under `tag`, in place of what the slot held. A body larger than a
    // quarter of the budget is not kept: it would push out many others.
    void insert(const QByteArray& slot, const QByteArray& tag, const QByteArray& body);
    // 0 keeps nothing.
    void setBudget(qsizetype bytes);
    qsizetype bytes() const { return m_bytes; }
    qsizetype size() const { return m_index.size(); }

    static constexpr qsizetype defaultBudget = 32 << 20;

private:
    struct Entry {
        QByteArray slot;
        QByteArray tag;
        QByteArray body;
    };
    void drop(std::list<Entry>::iterator entry);
    void shrinkTo(qsizetype budget);

    qsizetype m_budget;
    qsizetype m_bytes = 0;
    std::list<Entry> m_entries; // most recently used first
    QHash<QByteArray, std::list<Entry>::iterator> m_index;
};
