#include "DateFilter.h"

using namespace Qt::StringLiterals;

QString rawValue(DateFilter filter) {
    switch (filter) {
    case DateFilter::all:
        return u"all"_s;
    case DateFilter::today:
        return u"today"_s;
    case DateFilter::tomorrow:
        return u"tomorrow"_s;
    case DateFilter::week:
        return u"week"_s;
    }
    return {};
}
