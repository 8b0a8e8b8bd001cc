// The engine compares dates in whole seconds: a fraction never brings a run forward.
#pragma once
#include "contracts/ole_date.h"

namespace korad {

// The date less its fraction of a second, as its text and back would give it.
OleDate NormalizeDate(OleDate date);
// The time of day of `date`, whole seconds, on the day that is 0.
OleDate TimeOfDayOf(OleDate date);

}  // namespace korad
