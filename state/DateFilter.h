#pragma once

#include <QString>

#include <array>

// The deadline filter of the task list.
enum class DateFilter { all, today, tomorrow, week };

inline constexpr std::array<DateFilter, 4> allDateFilters{DateFilter::all, DateFilter::today, DateFilter::tomorrow,
                                                          DateFilter::week};

QString rawValue(DateFilter filter);
