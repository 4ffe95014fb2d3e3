#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <functional>

// One record type as the tests see it: a complete sample object, which of its keys are required,
// and a decoder that throws DecodeError like the real thing.
struct RecordFixture {
    QString name;
    QJsonObject sample;
    QStringList requiredKeys;
    std::function<void(const QByteArray&)> decode;
};

QList<RecordFixture> recordFixtures();
QByteArray toBytes(const QJsonObject& object);
