// mvSystem.DateTimeConverter: the date texts that travel in files and messages, and
// local/UTC conversion. Texts are invariant, not locale-dependent.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "contracts/ole_date.h"

namespace korad {

class Clock;

class DateTimeConverter {
 public:
  // Uses the platform's clock for time zone conversion.
  DateTimeConverter();
  explicit DateTimeConverter(Clock& clock);

  // Room for any date text this class writes.
  using TextBuffer = std::array<char, 40>;

  // "YYYY-MM-DDTHH:MM:SSZ" of a UTC date.
  static std::string ToUniversalText(OleDate utc);
  // The same text written into `buffer`, for writers of many dates; the view is valid
  // while the buffer is.
  static std::string_view ToUniversalText(OleDate utc, TextBuffer& buffer);
  // "YYYY-MM-DD HH:MM:SS" of a date as it stands.
  static std::string ToPlainText(OleDate date);
  // Read the text of one form back, also with fractions of a second ("...:SS.fffZ",
  // "...:SS.fff"); nullopt for anything else, the other form included. A reader that
  // tells dates from other values by the parse relies on that refusal.
  static std::optional<OleDate> FromUniversalText(std::string_view text);
  static std::optional<OleDate> FromPlainText(std::string_view text);
  // Either form.
  static std::optional<OleDate> FromText(std::string_view text);

  OleDate LocalToUtc(OleDate local);
  OleDate UtcToLocal(OleDate utc);

 private:
  Clock& m_clock;
};

}  // namespace korad
