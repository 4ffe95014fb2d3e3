#include "JsonPath.h"

QString JsonPath::toString() const {
    QString parentText = m_parent ? m_parent->toString() : QString();
    if (m_index >= 0)
        return parentText + u'[' + QString::number(m_index) + u']';
    if (m_key.empty())
        return parentText;
    const QString key = QString::fromUtf8(m_key.data(), qsizetype(m_key.size()));
    return parentText.isEmpty() ? key : parentText + u'.' + key;
}
