#pragma once

#include <QByteArray>

// A TasksResponse as a busy user's service would send it: Cyrillic titles, HTML descriptions of
// 200 to 2,000 bytes, optional fields present or absent in a fixed pseudo-random mix.
QByteArray generateTasksResponse(int count, quint32 seed = 1);
