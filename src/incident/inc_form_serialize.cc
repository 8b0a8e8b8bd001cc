#include "incident/inc_form_serialize.h"

#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/attributes.h"
#include "foundation/file_functions.h"
#include "incident/incident_form.h"
#include "incident/incident_forms.h"
#include "incident/serialized_text.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/string_builder.h"

namespace korad {
namespace {

constexpr std::string_view kBlockStart = "[IncidentForm]";
constexpr std::string_view kBlockEnd = "[/IncidentForm]";

void AppendLine(StringBuilder& text, std::string_view key, std::string_view value) {
  text.Append(key).Append("=").Append(value).Append(kLineEnd);
}

// The counters that travel outside the attributes. They are not set back for each
// block: a block without such a line inherits the value of the one before.
struct RunningCounters {
  int32_t sendAlertPolls = IncidentForm::kPollsUnset;
  int32_t resolveAlertPolls = IncidentForm::kPollsUnset;
  int32_t propertiesCrc = 0;

  // True when the key names a counter; the counter then takes the value's leading number.
  bool Take(std::string_view key, std::string_view value) {
    int32_t* counter = EqualsNoCase(key, "MVSENDALERTPOLLS")      ? &sendAlertPolls
                       : EqualsNoCase(key, "MVRESOLVEALERTPOLLS") ? &resolveAlertPolls
                       : EqualsNoCase(key, "MVPROPERTIESCRC")     ? &propertiesCrc
                                                                  : nullptr;
    if (counter == nullptr) return false;
    *counter = Value(LeadingNumber(value)).ToLong();
    return true;
  }
  void ApplyTo(IncidentForm& form) const {
    form.SetMVSendAlertPolls(sendAlertPolls);
    form.SetMVResolveAlertPolls(resolveAlertPolls);
    form.SetPropertiesCRC(propertiesCrc);
  }
};

// A form that doesn't make it into the collection must be finalized, or the cycle with
// its Attributes is never freed.
class FinalizeUnlessKept {
 public:
  explicit FinalizeUnlessKept(IncidentFormRef form) : m_form(std::move(form)) {}
  ~FinalizeUnlessKept() {
    if (!m_kept) m_form->Finalize();
  }
  FinalizeUnlessKept(const FinalizeUnlessKept&) = delete;
  FinalizeUnlessKept& operator=(const FinalizeUnlessKept&) = delete;
  void Keep() noexcept { m_kept = true; }

 private:
  IncidentFormRef m_form;
  bool m_kept = false;
};

}  // namespace

void IncFormSerialize::SetSerializeLocation(std::string_view location) { m_folder.SetLocation(location); }

std::string IncFormSerialize::FilePath(std::string_view monitorId) const { return m_folder.FilePath("IF", monitorId); }

DateTimeConverter& IncFormSerialize::Converter() {
  if (!m_converter) m_converter.emplace();
  return *m_converter;
}

void IncFormSerialize::Save(const std::shared_ptr<IncidentForms>& incidentForms, std::string_view monitorId) {
  try {
    if (!incidentForms) RaiseLibraryError("Invalid IncidentState");
    SaveBody(*incidentForms, monitorId);
  } catch (...) {
    LogSerializerFailure(incidentForms.get(), "IncFormSerialize(Save)", monitorId, kErrorCategory);
  }
}

void IncFormSerialize::SaveBody(const IncidentForms& forms, std::string_view monitorId) {
  Converter();
  StringBuilder text(forms.AllForms().size() * 320);

  for (const IncidentFormRef& form : forms.AllForms()) {
    text.Append(kBlockStart).Append(kLineEnd);
    // Fixed values hold no line end, so they go unescaped.
    AppendLine(text, "Resource", form->Resource());
    AppendLine(text, "Condition", form->Condition());
    AppendLine(text, "KeyAttributes", form->KeyAttributes());
    AppendLine(text, "OccurrenceTime", DateTimeConverter::ToPlainText(form->OccurrenceTime()));
    AppendLine(text, "ConfigMoniker", form->ConfigMoniker());
    AppendLine(text, "AlertStatus", std::to_string(static_cast<int32_t>(form->AlertStatus())));
    AppendLine(text, "Priority", std::to_string(form->Priority()));
    AppendLine(text, "mvSendAlertPolls", std::to_string(form->MVSendAlertPolls()));
    AppendLine(text, "mvResolveAlertPolls", std::to_string(form->MVResolveAlertPolls()));
    AppendLine(text, "mvPropertiesCRC", std::to_string(form->PropertiesCRC()));
    AppendLine(text, "ProcessedByMM", form->ProcessedByMM() ? "True" : "False");
    for (const AttributeRef& attribute : *form->GetAttributes()) {
      text.Append(attribute->Key()).Append("=");
      AppendEscapingLineEnds(text, attribute->Value().ToText());
      text.Append(kLineEnd);
    }
    text.Append(kBlockEnd).Append(kLineEnd);
  }

  // Written even when empty, so an old file doesn't outlive its forms.
  m_folder.Write(FilePath(monitorId), text.Text());
}

void IncFormSerialize::Load(std::shared_ptr<IncidentForms>& incidentForms, std::string_view monitorId) {
  try {
    LoadBody(incidentForms, monitorId);
  } catch (...) {
    LogSerializerFailure(incidentForms.get(), "IncFormSerialize(Load)", monitorId, kErrorCategory);
  }
}

void IncFormSerialize::LoadBody(std::shared_ptr<IncidentForms>& forms, std::string_view monitorId) {
  RunningCounters counters;
  if (!forms || forms->Count() > 0) forms = std::make_shared<IncidentForms>();
  Converter();

  const std::string path = FilePath(monitorId);
  const std::optional<std::string> file =
      ReadSerializedFile(path, GetLogManager(), "IncFormSerialize(Load) - ", kErrorCategory);
  if (!file) return;  // a first run
  const std::string& content = *file;

  // Damage that doesn't stop the load is reported on the collection's log manager too.
  auto note = [&](const std::string& what, KORADSLog_Level level) {
    if (const LogManagerRef& log = forms->GetLogManager()) {
      log->Log("IncFormSerialize(Load) - " + std::string(monitorId) + ": " + what, kErrorCategory, level);
    }
  };

  LineReader lines(content);
  // Said first, since a block cut short may stop the load. The format allows a last line
  // without its end, so this is a trace, not an error.
  if (lines.EndedWithoutLineEnd()) {
    note("the last line of " + path + " has no line end; the file may have been cut short", logLevelDebug);
  }
  std::string_view line;
  std::string value;
  while (lines.Next(line)) {
    if (!EqualsNoCase(line, kBlockStart)) continue;  // lines outside blocks are ignored
    const std::size_t blockLine = lines.LineNumber();

    auto holding = std::make_shared<Attributes>();
    // An end of file before the end mark ends the block as if the mark had been there.
    while (!EqualsNoCase(line, kBlockEnd) && !lines.AtEnd()) {
      lines.Next(line);
      if (EqualsNoCase(line, kBlockEnd)) break;
      const std::size_t equals = line.find('=');
      const std::string_view key = line.substr(0, equals);
      value.clear();
      if (equals != std::string_view::npos) AppendUnescapingLineEnds(value, line.substr(equals + 1));
      if (EqualsNoCase(key, "OCCURRENCETIME")) {
        // This file carries the plain text; anything else goes to the form as it stands.
        if (std::optional<OleDate> date = DateTimeConverter::FromPlainText(value)) value = FormatDate(*date);
      } else if (counters.Take(key, value)) {
        continue;
      }
      holding->Add(key, Value(value));
    }

    if (holding->Count() > 0) {
      IncidentFormRef form = IncidentForm::Create();
      FinalizeUnlessKept release(form);
      // A block without its moniker can't be placed: it ends the load.
      const AttributeRef moniker = holding->Exists("ConfigMoniker") ? holding->Item(Value("ConfigMoniker")) : nullptr;
      if (!moniker) {
        RaiseLibraryError("the block at line " + std::to_string(blockLine) + " of " + path + " has no ConfigMoniker");
      }
      forms->SetConfigMoniker(moniker->Value().ToText());
      // The standard names land on the form's properties with their conversions; a value
      // the form refuses leaves the field as a new form has it.
      std::string firstRefusal;
      for (const AttributeRef& attribute : *holding) {
        try {
          form->GetAttributes()->Add(attribute->Key(), attribute->Value());
        } catch (...) {
          if (firstRefusal.empty()) firstRefusal = CurrentExceptionAsError().Description();
        }
        counters.ApplyTo(*form);
      }
      if (!form->Resource().empty() && !form->Condition().empty()) {
        form->ResetUpdateOccurred();
        forms->AddNewIncidentForm(form);
        release.Keep();
        if (!firstRefusal.empty()) note(firstRefusal, logLevelError);
      }
    }
    holding->RemoveAll();
  }
}

const DispatchTable<IncFormSerialize>& IncFormSerialize::Dispatch() {
  static const DispatchTable<IncFormSerialize> table = [] {
    DispatchTable<IncFormSerialize> t;
    t.Property("SerializeLocation", [](IncFormSerialize& s) { return Value(s.SerializeLocation()); },
               [](IncFormSerialize& s, const Value& v) { s.SetSerializeLocation(v.ToText()); });
    return t;
  }();
  return table;
}

}  // namespace korad
