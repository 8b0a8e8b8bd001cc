#include <charconv>
#include <cstdint>
#include <cstdio>

#include "contracts/error.h"
#include "contracts/text.h"
#include "platform/base64.h"
#include "platform/date_time_converter.h"
#include "platform/object_map.h"
#include "platform/object_map_xml.h"

namespace korad {
namespace {

using namespace object_map_xml;

bool IsAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// Names that can stand as element names in any XML reader: ASCII only, no colon (which
// a namespace-aware reader would split), nothing the "xml" prefix reserves.
bool IsPlainName(std::string_view name) {
  if (name.empty() || !(IsAsciiLetter(name[0]) || name[0] == '_')) return false;
  for (char c : name) {
    if (!(IsAsciiLetter(c) || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.')) return false;
  }
  return !(name.size() >= 3 && EqualsNoCase(name.substr(0, 3), "xml"));
}

bool IsXmlChar(uint32_t cp) {
  return cp == 0x9 || cp == 0xA || cp == 0xD || (cp >= 0x20 && cp <= 0xD7FF) || (cp >= 0xE000 && cp <= 0xFFFD) ||
         (cp >= 0x10000 && cp <= 0x10FFFF);
}

// True when `text` is well-formed UTF-8 (no overlong forms, no surrogates) made only of
// characters XML 1.0 allows; anything else travels as base64.
bool IsXmlText(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    uint32_t cp = 0;
    size_t length = 0;
    uint32_t smallest = 0;
    if (lead < 0x80) {
      length = 1;
      cp = lead;
    } else if ((lead & 0xE0) == 0xC0) {
      length = 2;
      cp = lead & 0x1Fu;
      smallest = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3;
      cp = lead & 0x0Fu;
      smallest = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4;
      cp = lead & 0x07u;
      smallest = 0x10000;
    } else {
      return false;
    }
    if (i + length > text.size()) return false;
    for (size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      cp = cp << 6 | (next & 0x3Fu);
    }
    if (cp < smallest || !IsXmlChar(cp)) return false;
    i += length;
  }
  return true;
}

// Element content: a raw carriage return would reach the reader as a line feed.
void AppendContent(std::string& out, std::string_view text) {
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;  // "]]>" may not appear in content
      case '\r': out += "&#13;"; break;
      default: out += c;
    }
  }
}

// Attribute values: a reader turns raw tabs and line ends into blanks.
void AppendAttribute(std::string& out, std::string_view name, std::string_view value) {
  out.append(" ").append(name).append("=\"");
  for (char c : value) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\t': out += "&#9;"; break;
      case '\n': out += "&#10;"; break;
      case '\r': out += "&#13;"; break;
      default: out += c;
    }
  }
  out += '"';
}

template <class Number>
std::string ShortestText(Number value) {
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

std::string UtcDateText(OleDate utc) {
  const CivilTime c = utc.ToCivil();
  char text[40];
  int n = std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", c.year, c.month, c.day, c.hour,
                        c.minute, c.second);
  if (c.millisecond != 0) n += std::snprintf(text + n, sizeof text - static_cast<size_t>(n), ".%03d", c.millisecond);
  return std::string(text, static_cast<size_t>(n)) + "Z";
}

[[noreturn]] void RaiseUnwritable(std::string_view name, std::string_view why) {
  RaiseLibraryError("the item '" + std::string(name) + "' " + std::string(why));
}

class Writer {
 public:
  std::string Document(const ObjectMap& map) {
    m_out.append("<").append(kRootElement).append(">");
    Items(map, 0);
    m_out.append("</").append(kRootElement).append(">");
    return std::move(m_out);
  }

 private:
  void Items(const ObjectMap& map, int32_t depth) {
    for (int32_t i = 0; i < map.Count(); ++i) {
      if (!map.IsUniversalTwin(i)) Item(map.Key(i), map.Item(i), depth);
    }
  }

  void Item(const std::string& name, const Value& value, int32_t depth) {
    std::string_view type;
    std::string content;
    bool base64 = false;
    ObjectMapRef nested;
    switch (value.Kind()) {
      case ValueKind::Empty:
      case ValueKind::Null:
        type = value.Kind() == ValueKind::Empty ? "Empty" : "Null";
        break;
      case ValueKind::Integer:
        type = "Integer";
        content = std::to_string(value.ToInteger());
        break;
      case ValueKind::Long:
        type = "Long";
        content = std::to_string(value.ToLong());
        break;
      case ValueKind::Single:
        type = "Single";
        content = ShortestText(value.ToSingle());
        break;
      case ValueKind::Double:
        type = "Double";
        content = ShortestText(value.ToDouble());
        break;
      case ValueKind::Boolean:
        type = "Boolean";
        content = value.ToBoolean() ? "True" : "False";
        break;
      case ValueKind::Date: {
        type = "Date";
        const OleDate local = value.ToDate();
        const OleDate utc = local.IsValid() ? DateTimeConverter().LocalToUtc(local) : local;
        if (!utc.IsValid()) RaiseUnwritable(name, "holds a date outside the range that can be written");
        content = UtcDateText(utc);
        break;
      }
      case ValueKind::String:
        type = "String";
        content = *value.AsString();
        base64 = !IsXmlText(content);
        if (base64) content = Base64Encode(content);
        break;
      case ValueKind::Object: {
        const ObjectRef& object = *value.AsObject();
        if (!object) {
          type = kNothingType;
          break;
        }
        nested = ObjectMap::MapOf(value);
        if (!nested) {
          RaiseUnwritable(name, "holds an object of class " + std::string(object->ClassName()) +
                                    ", which has no text form");
        }
        if (depth + 1 > ObjectMap::kMaxDepth) {
          RaiseLibraryError("maps are nested deeper than " + std::to_string(ObjectMap::kMaxDepth) + " levels");
        }
        type = kMapType;
        break;
      }
    }

    const std::string_view element = IsPlainName(name) ? std::string_view(name) : kItemElement;
    m_out.append("<").append(element);
    if (!IsPlainName(name)) {
      const bool nameBase64 = !IsXmlText(name);
      AppendAttribute(m_out, kNameAttribute, nameBase64 ? Base64Encode(name) : name);
      if (nameBase64) AppendAttribute(m_out, kNameEncodingAttribute, kBase64);
    }
    AppendAttribute(m_out, kTypeAttribute, type);
    if (base64) AppendAttribute(m_out, kEncodingAttribute, kBase64);
    if (!nested && content.empty()) {
      m_out.append("/>");
      return;
    }
    m_out.append(">");
    if (nested) {
      Items(*nested, depth + 1);
    } else {
      AppendContent(m_out, content);
    }
    m_out.append("</").append(element).append(">");
  }

  std::string m_out;
};

}  // namespace

std::string WriteObjectMapXml(const ObjectMap& map) { return Writer().Document(map); }

}  // namespace korad
