// ObjectMap: the "mvKernel.ObjectMap" component. An ordered map of named Values with an
// XML text form; every XML message of the agent passes through one. Names compare
// case-insensitively (the first spelling is kept); positions run from 0 to Count - 1.
//
// A date is held as local time and has a twin right behind it: the item named
// name + "Universal", a String with the universal text of the same moment
// ("YYYY-MM-DDTHH:MM:SSZ"). Adding a date makes or refreshes the twin; the XML carries
// the date only and reading rebuilds the twin, so readers find the "...Universal" key
// whichever side wrote the message.
//
// XML text form (written on one line, no blanks between elements; shown wrapped):
//
//   <ObjectMap>
//     <RequestType type="String">AgentOptions</RequestType>
//     <mvEntityID type="Long">42</mvEntityID>
//     <Seen type="Date">2026-03-05T14:30:00Z</Seen>
//     <Item name="My Key" type="String">a &amp; b&#13;</Item>
//     <Blob type="String" encoding="base64">AAEC/w==</Blob>
//     <EVENT.KEYDATA type="Map"><Disk type="String">C:</Disk></EVENT.KEYDATA>
//   </ObjectMap>
//
// - One element per item, in order. The element is named after the item when the name
//   is a plain XML name (an ASCII letter or "_", then letters, digits, "_", "-", ".";
//   not starting with "xml"), so a reader may search the text for "<mvFileName ".
//   Any other name goes into a `name` attribute of an "Item" element, base64 with
//   nameEncoding="base64" when it isn't text XML can carry.
// - `type` is the Value kind: "Empty", "Null", "Integer", "Long", "Single", "Double",
//   "Boolean", "Date", "String"; "Map" for a nested ObjectMap, "Nothing" for an empty
//   object reference. A reader takes a missing type as "String".
// - Numbers are decimal; Singles and Doubles in the shortest text that reads back to the
//   same number ("inf", "-inf", "nan" included). Booleans are "True" or "False".
// - A date is its moment in UTC, "YYYY-MM-DDTHH:MM:SSZ", with ".mmm" before the "Z"
//   when the milliseconds aren't 0 ("YYYY-MM-DD HH:MM:SS[.fff]" reads as UTC too).
//   Dates round-trip to the millisecond.
// - Strings are bytes and round-trip exactly: "&", "<", ">" are escaped and a carriage
//   return is written "&#13;" (a parser would turn a raw one into a line feed). Text that
//   isn't valid UTF-8, or that holds a character XML 1.0 can't (controls other than tab,
//   line feed and carriage return; U+FFFE, U+FFFF), is written base64 with
//   encoding="base64".
// - A nested map's items are child elements of its element. Blank text, comments,
//   processing instructions and attributes other than these are ignored on reading;
//   CDATA reads as text. Of two items with one name (in any case), the later value
//   stays, in the place of the first.
//
// Reading refuses a document type declaration (so no entity can be defined), never
// touches the network, and takes at most kMaxXmlBytes of text and kMaxDepth levels of
// nested maps. Errors are the library's number with "ObjectMap.XML(Let): " or
// "ObjectMap.XML(Get): " before the cause; a failed read leaves the map as it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "contracts/object.h"
#include "contracts/text.h"
#include "contracts/value.h"

namespace korad {

class ObjectMap final : public Dispatchable<ObjectMap> {
 public:
  static constexpr std::string_view kClassId = "mvKernel.ObjectMap";
  static constexpr std::size_t kMaxXmlBytes = 16u << 20;
  // Levels of maps below the top one.
  static constexpr int32_t kMaxDepth = 64;
  static constexpr std::string_view kUniversalSuffix = "Universal";
  // The host's type numbers that ItemType gives; a date is 7.
  enum VarType : int32_t {
    kVarEmpty = 0, kVarNull = 1, kVarInteger = 2, kVarLong = 3, kVarSingle = 4, kVarDouble = 5,
    kVarDate = 7, kVarString = 8, kVarObject = 9, kVarBoolean = 11,
  };

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<ObjectMap>& Dispatch();

  int32_t Count() const noexcept { return static_cast<int32_t>(m_entries.size()); }
  // The name at a position; 9 (subscript out of range) outside 0..Count - 1.
  const std::string& Key(int32_t position) const;
  // The value at a position; 9 outside 0..Count - 1.
  const korad::Value& Item(int32_t position) const;
  // The value of a name; Empty when no item has it, as a dictionary read gives.
  korad::Value Item(std::string_view key) const;
  korad::Value Item(const char* key) const { return Item(std::string_view(key)); }
  korad::Value Item(const std::string& key) const { return Item(std::string_view(key)); }
  // A number is a position, text a name; other kinds raise 13.
  korad::Value Item(const korad::Value& index) const;
  // The VarType of the value at a position; 9 outside 0..Count - 1.
  int32_t ItemType(int32_t position) const;
  bool Exists(std::string_view key) const { return m_index.count(key) > 0; }
  // True for a twin that a date made; the XML leaves it out.
  bool IsUniversalTwin(int32_t position) const;

  // Adds at the end, or gives an item of the same name the new value in its place.
  // A date makes its twin; a date replaced by another kind takes its twin with it.
  void Add(std::string_view name, korad::Value value);
  // Adds a date whose moment in UTC is known, as a message brings it: the twin is made
  // from `utc`, not from the local time, which a daylight-saving fold makes ambiguous.
  void AddDate(std::string_view name, OleDate local, OleDate utc);
  void Clear() noexcept;

  // The XML text form. Raises when a value has none: an object that isn't an ObjectMap,
  // a date outside the valid range, maps nested deeper than kMaxDepth.
  std::string Xml() const;
  // Replaces the content with what `text` holds.
  void SetXml(std::string_view text);

  // The map a Value holds, or nullptr.
  static std::shared_ptr<ObjectMap> MapOf(const korad::Value& value);

 private:
  struct Entry {
    std::string key;
    korad::Value value;
    bool universalTwin = false;
  };

  const Entry& At(int32_t position) const;
  // Index of the entry named `key`, or -1.
  std::ptrdiff_t Find(std::string_view key) const;
  void Put(std::string_view name, korad::Value value, bool universalTwin);
  void Erase(std::size_t position);
  void Reindex();

  std::vector<Entry> m_entries;
  std::unordered_map<std::string, std::size_t, NoCaseHash, NoCaseEqual> m_index;
};

using ObjectMapRef = std::shared_ptr<ObjectMap>;

}  // namespace korad
