#pragma once

#include <QString>

// The standard phrase for an HTTP status code, in Russian: every code of the IANA registry has its
// own, any other code gets the phrase of its class.
QString httpStatusPhrase(int statusCode);
