#include "AnswerCache.h"

AnswerCache::AnswerCache(qsizetype budgetBytes)
    : m_budget(budgetBytes) {}

std::optional<QByteArray> AnswerCache::find(const QByteArray& slot, const QByteArray& tag) {
    const auto found = m_index.constFind(slot);
    if (found == m_index.cend())
        return std::nullopt;
    const auto entry = *found;
    if (entry->tag != tag)
        return std::nullopt;
    m_entries.splice(m_entries.begin(), m_entries, entry);
    return entry->body;
}

void AnswerCache::insert(const QByteArray& slot, const QByteArray& tag, const QByteArray& body) {
    if (const auto found = m_index.constFind(slot); found != m_index.cend())
        drop(*found);
    if (body.size() > m_budget / 4)
        return;
    shrinkTo(m_budget - body.size());
    m_entries.push_front(Entry{slot, tag, body});
    m_index.insert(slot, m_entries.begin());
    m_bytes += body.size();
}

void AnswerCache::setBudget(qsizetype bytes) {
    m_budget = bytes;
    shrinkTo(bytes);
}

void AnswerCache::drop(std::list<Entry>::iterator entry) {
    m_bytes -= entry->body.size();
    m_index.remove(entry->slot);
    m_entries.erase(entry);
}

void AnswerCache::shrinkTo(qsizetype budget) {
    while (!m_entries.empty() && m_bytes > budget)
        drop(std::prev(m_entries.end()));
}
