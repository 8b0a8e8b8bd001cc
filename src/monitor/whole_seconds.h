// The engine compares dates in whole seconds: a fraction never brings a run forward.
#pragma once
#include "contracts/ole_date.h"

namespace korad {

// The date less its fraction of a second. Not its text and back: the text rounds, and a
// run due at 12:01:00 must not start at 12:00:59.6.
OleDate NormalizeDate(OleDate date);
// The time of day of `date`, whole seconds, on the day that is 0.
OleDate TimeOfDayOf(OleDate date);

}  // namespace korad
