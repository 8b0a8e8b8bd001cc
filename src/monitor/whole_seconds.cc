#include "monitor/whole_seconds.h"

namespace korad {
namespace {

// The date's parts with the milliseconds dropped.
CivilTime WholeSeconds(OleDate date) {
  CivilTime civil = date.ToCivil();
  civil.millisecond = 0;
  return civil;
}

}  // namespace

OleDate NormalizeDate(OleDate date) {
  if (!date.IsValid()) return date;
  const CivilTime c = WholeSeconds(date);
  return OleDate::FromCivil(c.year, c.month, c.day, c.hour, c.minute, c.second).value_or(date);
}

OleDate TimeOfDayOf(OleDate date) {
  if (!date.IsValid()) return OleDate();
  const CivilTime c = WholeSeconds(date);
  return OleDate::FromCivil(1899, 12, 30, c.hour, c.minute, c.second).value_or(OleDate());
}

}  // namespace korad
