#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <charconv>
#include <climits>
#include <memory>
#include <mutex>
#include <optional>

#include "contracts/error.h"
#include "contracts/text.h"
#include "platform/base64.h"
#include "platform/date_time_converter.h"
#include "platform/object_map.h"
#include "platform/object_map_xml.h"

namespace korad {
namespace {

using namespace object_map_xml;

// No entity substitution, no DTD loading, no network. HUGE lifts the parser's own cap on
// a single text node (10 MB), which a file carried in a message may pass; the size of the
// whole text is capped before parsing instead.
constexpr int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA |
                              XML_PARSE_HUGE;

void InitLibxml() {
  static std::once_flag once;
  std::call_once(once, [] { xmlInitParser(); });  // thread-safe from here on
}

[[noreturn]] void Raise(std::string cause) { RaiseLibraryError(std::move(cause)); }

struct ContextFree {
  void operator()(xmlParserCtxt* ctxt) const {
    if (ctxt->myDoc) xmlFreeDoc(ctxt->myDoc);
    xmlFreeParserCtxt(ctxt);
  }
};
struct XmlFree {
  void operator()(xmlChar* text) const { xmlFree(text); }
};

// What the parser's callbacks saw; hung on the context's _private.
struct ParseState {
  std::string firstError;
  bool doctype = false;
};

ParseState& StateOf(void* userData) {
  return *static_cast<ParseState*>(static_cast<xmlParserCtxt*>(userData)->_private);
}

// Errors are kept, not printed: the first one names the cause.
void CaptureError(void* userData, xmlErrorPtr error) {
  ParseState& state = StateOf(userData);
  if (!state.firstError.empty() || !error || !error->message) return;
  std::string message = error->message;
  while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
  state.firstError = message + " (line " + std::to_string(error->line) + ")";
}

// A document type declaration is where entities would be defined; none is accepted, and
// the parse stops before the parser reads any of it.
void RefuseDoctype(void* userData, const xmlChar*, const xmlChar*, const xmlChar*) {
  StateOf(userData).doctype = true;
  xmlStopParser(static_cast<xmlParserCtxt*>(userData));
}

std::string_view NameOf(const xmlNode* node) { return reinterpret_cast<const char*>(node->name); }

std::optional<std::string> Attribute(const xmlNode* node, std::string_view name) {
  const std::string key(name);
  std::unique_ptr<xmlChar, XmlFree> value(xmlGetNoNsProp(node, reinterpret_cast<const xmlChar*>(key.c_str())));
  if (!value) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(value.get()));
}

bool IsXmlBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view TrimXmlBlanks(std::string_view text) {
  while (!text.empty() && IsXmlBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsXmlBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool IsIgnorable(const xmlNode* node) { return node->type == XML_COMMENT_NODE || node->type == XML_PI_NODE; }

bool IsText(const xmlNode* node) { return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE; }

template <class Number>
std::optional<Number> ParseNumber(std::string_view text) {
  Number value{};
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return value;
}

std::optional<bool> ParseBoolean(std::string_view text) {
  if (EqualsNoCase(text, "True") || text == "-1" || text == "1") return true;
  if (EqualsNoCase(text, "False") || text == "0") return false;
  return std::nullopt;
}

[[noreturn]] void RefuseValue(const std::string& name, const std::string& type, std::string_view text) {
  Raise("the item '" + name + "' of type " + type + " holds '" + std::string(text) + "', which isn't one");
}

class Reader {
 public:
  void Map(const xmlNode* element, ObjectMap& into, int32_t depth) {
    for (const xmlNode* child = element->children; child; child = child->next) {
      if (child->type == XML_ELEMENT_NODE) {
        Item(child, into, depth);
      } else if (IsText(child)) {
        const std::string_view text = reinterpret_cast<const char*>(child->content);
        if (!TrimXmlBlanks(text).empty()) Raise("text outside an item in '" + std::string(NameOf(element)) + "'");
      } else if (!IsIgnorable(child)) {
        Raise("unexpected content in '" + std::string(NameOf(element)) + "'");
      }
    }
  }

 private:
  static std::string ItemName(const xmlNode* element) {
    const std::optional<std::string> name = Attribute(element, kNameAttribute);
    if (!name) return std::string(NameOf(element));
    const std::optional<std::string> encoding = Attribute(element, kNameEncodingAttribute);
    if (!encoding) return *name;
    if (*encoding != kBase64) Raise("unknown name encoding '" + *encoding + "'");
    std::optional<std::string> decoded = Base64Decode(*name);
    if (!decoded) Raise("the base64 name '" + *name + "' can't be decoded");
    return std::move(*decoded);
  }

  // The text of an item that isn't a map: its text children; elements have no place there.
  static std::string Content(const xmlNode* element, const std::string& name) {
    std::string content;
    for (const xmlNode* child = element->children; child; child = child->next) {
      if (IsText(child)) {
        content += reinterpret_cast<const char*>(child->content);
      } else if (!IsIgnorable(child)) {
        Raise("the item '" + name + "' holds markup, but its type isn't " + std::string(kMapType));
      }
    }
    return content;
  }

  void Item(const xmlNode* element, ObjectMap& into, int32_t depth) {
    const std::string name = ItemName(element);
    const std::string type = Attribute(element, kTypeAttribute).value_or("String");
    const std::optional<std::string> encoding = Attribute(element, kEncodingAttribute);
    if (encoding && (*encoding != kBase64 || type != "String")) {
      Raise("the item '" + name + "' has the encoding '" + *encoding + "', which its type doesn't take");
    }

    if (type == kMapType) {
      if (depth + 1 > ObjectMap::kMaxDepth) {
        Raise("maps are nested deeper than " + std::to_string(ObjectMap::kMaxDepth) + " levels");
      }
      auto nested = std::make_shared<ObjectMap>();
      Map(element, *nested, depth + 1);
      into.Add(name, Value(ObjectRef(std::move(nested))));
      return;
    }

    const std::string content = Content(element, name);
    if (type == "String") {
      if (!encoding) return into.Add(name, Value(content));
      std::optional<std::string> decoded = Base64Decode(content);
      if (!decoded) Raise("the base64 text of the item '" + name + "' can't be decoded");
      return into.Add(name, Value(std::move(*decoded)));
    }
    if (type == "Empty") return into.Add(name, Value());
    if (type == "Null") return into.Add(name, Value(Value::Null));
    if (type == kNothingType) return into.Add(name, Value(ObjectRef()));

    const std::string_view text = TrimXmlBlanks(content);
    if (type == "Date") {
      const std::optional<OleDate> utc = DateTimeConverter::FromText(text);
      if (!utc) RefuseValue(name, type, text);
      return into.AddDate(name, DateTimeConverter().UtcToLocal(*utc), *utc);
    }
    std::optional<Value> value;
    if (type == "Integer") {
      if (auto n = ParseNumber<int16_t>(text)) value = Value(*n);
    } else if (type == "Long") {
      if (auto n = ParseNumber<int32_t>(text)) value = Value(*n);
    } else if (type == "Single") {
      if (auto n = ParseNumber<float>(text)) value = Value(*n);
    } else if (type == "Double") {
      if (auto n = ParseNumber<double>(text)) value = Value(*n);
    } else if (type == "Boolean") {
      if (auto b = ParseBoolean(text)) value = Value(*b);
    } else {
      Raise("the item '" + name + "' has the unknown type '" + type + "'");
    }
    if (!value) RefuseValue(name, type, text);
    into.Add(name, std::move(*value));
  }
};

}  // namespace

void ReadObjectMapXml(std::string_view text, ObjectMap& into) {
  if (text.size() > ObjectMap::kMaxXmlBytes) {
    Raise("the text is " + std::to_string(text.size()) + " bytes long; at most " +
          std::to_string(ObjectMap::kMaxXmlBytes) + " are read");
  }
  if (TrimXmlBlanks(text).empty()) Raise("the text is empty");
  InitLibxml();

  std::unique_ptr<xmlParserCtxt, ContextFree> ctxt(
      xmlCreateMemoryParserCtxt(text.data(), static_cast<int>(text.size())));
  if (!ctxt) RaiseRuntimeError(kErrOutOfMemory);
  ParseState state;
  xmlCtxtUseOptions(ctxt.get(), kParseOptions);
  ctxt->_private = &state;
  ctxt->sax->internalSubset = RefuseDoctype;
  ctxt->sax->serror = CaptureError;
  xmlParseDocument(ctxt.get());

  if (state.doctype) Raise("a document type declaration isn't accepted");
  if (!ctxt->wellFormed || !ctxt->myDoc) {
    Raise("the text isn't well-formed XML" + (state.firstError.empty() ? std::string() : ": " + state.firstError));
  }
  const xmlNode* root = xmlDocGetRootElement(ctxt->myDoc);
  if (!root || NameOf(root) != kRootElement) {
    Raise("the root element is '" + std::string(root ? NameOf(root) : "") + "', not '" + std::string(kRootElement) +
          "'");
  }
  Reader().Map(root, into, 0);
}

}  // namespace korad
