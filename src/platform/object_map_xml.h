// The XML text form of ObjectMap (described in object_map.h), written and read. Errors
// are raised with the cause alone; ObjectMap puts its routine's name before it.
#pragma once

#include <string>
#include <string_view>

namespace korad {

class ObjectMap;

namespace object_map_xml {

inline constexpr std::string_view kRootElement = "ObjectMap";
inline constexpr std::string_view kItemElement = "Item";  // for names that can't be element names
inline constexpr std::string_view kTypeAttribute = "type";
inline constexpr std::string_view kNameAttribute = "name";
inline constexpr std::string_view kEncodingAttribute = "encoding";
inline constexpr std::string_view kNameEncodingAttribute = "nameEncoding";
inline constexpr std::string_view kBase64 = "base64";
// Besides the Value type names ("String", "Long", ...):
inline constexpr std::string_view kMapType = "Map";
inline constexpr std::string_view kNothingType = "Nothing";

}  // namespace object_map_xml

std::string WriteObjectMapXml(const ObjectMap& map);
// Fills `into`, which is empty, from `text`.
void ReadObjectMapXml(std::string_view text, ObjectMap& into);

}  // namespace korad
