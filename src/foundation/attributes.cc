#include "foundation/attributes.h"

#include "foundation/macros.h"

namespace korad {
namespace {

// Lookup keys lose every blank, then are trimmed and upper-cased.
std::string LookupKey(std::string_view key) { return NormalizeKey(StripSpaces(key)); }

std::string TextOf(const Value& v) { return v.IsString() ? *v.AsString() : v.ToText(); }

std::string CouldNotFind(const Value& index) {
  return "Could Not Find The '" + TextOf(index) + "' Attribute.  Please Verify That This Attribute Exists.";
}

}  // namespace

// ---- Attribute ----

void Attribute::SetValue(const korad::Value& value) {
  Guard("Attribute.Value(Let): ", [&] {
    korad::Value incoming = value;
    // The test is on the value held before: a first assignment isn't substituted.
    if (m_value.IsString() && incoming.IsString()) ExpandMacros(incoming);
    if (m_valueAssigned) {
      auto parent = m_parent.lock();
      if (m_relevantToUpdates && parent && TextOf(incoming) != TextOf(m_value)) parent->SetUpdateOccurred(true);
    } else {
      m_valueAssigned = true;
    }
    m_value = korad::Value(incoming.ToText());
  });
}

void Attribute::SetKey(std::string_view key) {
  Guard("Attribute.Key(Let): ", [&] {
    if (m_keyAssigned) RaiseLibraryError("Attribute Key Already Set. Cannot Set An Attribute Key More Than Once");
    m_key = StripSpaces(key);
    m_keyAssigned = true;
  });
}

const DispatchTable<Attribute>& Attribute::Dispatch() {
  static const DispatchTable<Attribute> table = [] {
    DispatchTable<Attribute> t;
    t.Property("Value", [](Attribute& a) { return a.Value(); },
               [](Attribute& a, const korad::Value& v) { a.SetValue(v); });
    t.Property("Key", [](Attribute& a) { return korad::Value(a.Key()); },
               [](Attribute& a, const korad::Value& v) { a.SetKey(v.ToText()); });
    t.Property("RelevantToUpdates", [](Attribute& a) { return korad::Value(a.RelevantToUpdates()); },
               [](Attribute& a, const korad::Value& v) { a.SetRelevantToUpdates(v.ToBoolean()); });
    return t;
  }();
  return table;
}

// ---- Attributes ----

Attributes::~Attributes() {
  m_custom.Clear();
  m_parent.reset();
}

std::string Attributes::TranslateAlertStatus(std::string_view key, std::string_view value) const {
  std::string result;
  Guard("Attributes.TranslateAlertStatus: ", [&] {
    if (NormalizeKey(key) != "ALERTSTATUS") return;
    const std::string v = UpperAscii(value);
    if (v == "ALERTOFF" || v == "OFF" || v == "0") {
      result = "0";
    } else if (v == "ALERTON" || v == "ON" || v == "1") {
      result = "1";
    } else if (v == "ALERTONCE" || v == "ONCE" || v == "2") {
      result = "2";
    } else if (v == "ALERTOFFPENDING" || v == "OFFPENDING" || v == "3") {
      result = "3";
    } else {
      result = "2";  // an unknown status is read as AlertOnce
    }
  });
  return result;
}

void Attributes::SetParentStandardAttributes(std::vector<std::string> upperCaseNames) {
  Guard("Attributes.ParentStandardAttributes: ", [&] {
    if (m_standardNamesSet) return;
    m_standardNames.clear();
    for (const std::string& name : upperCaseNames) m_standardNames.push_back(LookupKey(name));
    m_standardNamesSet = true;
  });
}

bool Attributes::InStandardAttributes(std::string_view key) const {
  bool result = false;
  Guard("Attributes.InStandardAttributes: ", [&] {
    if (!m_standardNamesSet) return;
    const std::string wanted = LookupKey(key);
    for (const std::string& name : m_standardNames) {
      if (name == wanted) {
        result = true;
        return;
      }
    }
  });
  return result;
}

AttributeRef Attributes::FindCustom(std::string_view key) const {
  // Stored keys have no blanks and the index ignores case, so the index answers the
  // lookup rule directly.
  const AttributeRef* found = m_custom.Find(StripSpaces(key));
  return found ? *found : nullptr;
}

Value Attributes::ParentProperty(std::string_view key) const { return m_parent->GetProperty(StripSpaces(key)); }

AttributeRef Attributes::Add(std::string_view key, const Value& value) {
  AttributeRef result;
  Guard("Attributes.Add: ", [&] {
    Value incoming = value;
    if (std::string status = TranslateAlertStatus(key, TextOf(value)); !status.empty()) incoming = Value(status);
    if (incoming.IsString()) ExpandEnvVars(incoming);

    if (InStandardAttributes(key)) {
      if (!m_parent) {
        RaiseLibraryError("This attribute has no parent!  Please set the parent before using standard attributes.");
      }
      try {
        m_parent->LetProperty(StripSpaces(key), incoming);
      } catch (...) {
        RaiseLibraryError("Could not set the '" + std::string(key) + "' attribute (Error: " +
                          CurrentExceptionAsError().Description() +
                          "). Please check the type of this attribute and make sure it matches the type of the "
                          "value you are attempting to set.");
      }
      return;
    }

    auto attribute = std::make_shared<Attribute>();
    if (GetLogManager()) attribute->SetLogManager(GetLogManager());
    attribute->SetParent(std::static_pointer_cast<Attributes>(weak_from_this().lock()));
    try {
      attribute->SetValue(Value(incoming.ToText()));
    } catch (...) {
      // A value without text leaves the attribute empty.
    }
    attribute->SetKey(key);
    result = attribute;

    try {
      m_custom.Add(attribute, attribute->Key());
    } catch (const Error& e) {
      if (e.Number() != kErrDuplicateKey) {
        m_updateOccurred = true;  // the new attribute goes back unattached
        return;
      }
      AttributeRef existing = *m_custom.Find(attribute->Key());
      if (TextOf(existing->Value()) != TextOf(attribute->Value()) && existing->RelevantToUpdates()) {
        m_updateOccurred = true;
      }
      existing->SetValue(incoming);
      result = existing;
      return;
    }
    m_updateOccurred = true;  // every new custom attribute is an update
  });
  return result;
}

void Attributes::Remove(const Value& index) {
  Guard("Attributes.Remove: ", [&] {
    if (index.IsString()) {
      if (!m_custom.Find(*index.AsString())) RaiseLibraryError(CouldNotFind(index));
      m_custom.Remove(*index.AsString());
      m_updateOccurred = true;
    } else if (index.IsNumberKind()) {
      if (index.ToDouble() > Count()) RaiseLibraryError("Index is greater than count of attributes");
      m_custom.Remove(index);  // no lower bound here: 0 fails in the list
      m_updateOccurred = true;
    }
  });
}

AttributeRef Attributes::Item(const Value& index) {
  AttributeRef result;
  Guard("Attributes.Item: ", [&] {
    if (index.IsNumberKind()) {
      if (index.ToDouble() > Count()) RaiseLibraryError("Index is greater than the number of custom attributes");
      result = m_custom.Item(index);
      return;
    }
    if (!index.IsString()) RaiseLibraryError("Could not identify the type of the Index parameter");
    const std::string& key = *index.AsString();
    if (!InStandardAttributes(key)) {
      // Looked up as given: a key with blanks doesn't find the stored key, which lost them.
      if (!m_custom.Empty()) {
        if (AttributeRef* found = m_custom.Find(key)) result = *found;
      }
    } else {
      if (!m_parent) RaiseLibraryError(CouldNotFind(index));
      auto detached = std::make_shared<Attribute>();
      detached->SetKey(key);
      detached->SetValue(ParentProperty(key));
      result = detached;
    }
    if (!result) RaiseLibraryError(CouldNotFind(index));
    result->SetParent(std::static_pointer_cast<Attributes>(weak_from_this().lock()));
  });
  return result;
}

int32_t Attributes::Count() const {
  int32_t result = 0;
  Guard("Attributes.Count: ", [&] { result = m_custom.Count(); });
  return result;
}

template <class Test>
bool Attributes::TestValue(std::string_view key, Test&& test) {
  if (AttributeRef found = FindCustom(key); found && test(TextOf(found->Value()))) return true;
  if (InStandardAttributes(key) && m_parent) return test(TextOf(ParentProperty(key)));
  return false;
}

bool Attributes::Exists(std::string_view key, const std::optional<Value>& value) {
  bool result = false;
  Guard("Attributes.Exists: ", [&] {
    if (!value) {
      result = FindCustom(key) != nullptr || InStandardAttributes(key);
      return;
    }
    const std::string wanted = TextOf(*value);
    result = TestValue(key, [&](const std::string& held) { return held == wanted; });
  });
  return result;
}

bool Attributes::BeginsWith(std::string_view key, std::string_view value) {
  bool result = false;
  Guard("Attributes.BeginsWith: ", [&] {
    const std::string wanted = UpperAscii(value);
    result = TestValue(key, [&](const std::string& held) {
      return UpperAscii(std::string_view(held).substr(0, value.size())) == wanted;
    });
  });
  return result;
}

bool Attributes::InSet(std::string_view key, std::string_view inSetString) {
  bool result = false;
  Guard("Attributes.InSet: ", [&] {
    const std::string set = UpperAscii(ReplaceText(ReplaceText(inSetString, " ,", ","), ", ", ","));
    result = TestValue(key, [&](const std::string& held) {
      const std::string v = UpperAscii(held);
      return v == set || set.find(v + ",") != std::string::npos || set.find("," + v) != std::string::npos;
    });
  });
  return result;
}

void Attributes::RemoveAll() {
  Guard("Attributes.RemoveAll: ", [&] {
    while (m_custom.Count() >= 1) m_custom.Remove(1);
  });
}

const DispatchTable<Attributes>& Attributes::Dispatch() {
  static const DispatchTable<Attributes> table = [] {
    DispatchTable<Attributes> t;
    t.Property("Count", [](Attributes& a) { return korad::Value(a.Count()); });
    t.Call("RemoveAll", [](Attributes& a) {
      a.RemoveAll();
      return korad::Value();
    });
    return t;
  }();
  return table;
}

}  // namespace korad
