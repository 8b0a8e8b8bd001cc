// Base64 of bytes, in the standard alphabet with "=" padding: how bytes that a text
// format can't carry travel inside one.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korad {

std::string Base64Encode(std::string_view bytes);

// The bytes of `text`; ASCII blanks and line ends anywhere are skipped, so wrapped text
// reads too. nullopt for any other character outside the alphabet, for padding that
// isn't at the end, or for a length that no encoding has.
std::optional<std::string> Base64Decode(std::string_view text);

// The URL-safe alphabet ("-" and "_") without padding, for tokens that sit inside ini
// values and file names.
std::string Base64UrlEncode(std::string_view bytes);
// Accepts only the one canonical spelling Base64UrlEncode gives (no blanks, no padding,
// unused bits zero), so a token has exactly one text form.
std::optional<std::string> Base64UrlDecode(std::string_view text);

}  // namespace korad
