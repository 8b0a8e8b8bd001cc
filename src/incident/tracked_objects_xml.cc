#include "incident/tracked_objects_xml.h"

#include <string_view>
#include <unordered_map>
#include <vector>

#include "contracts/error_reporter.h"
#include "contracts/text.h"
#include "incident/tracked_objects.h"

namespace korad {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

// "&" first, so that the entities added afterwards aren't escaped again; the apostrophe
// stays as it is, since every attribute is quoted with the quote mark.
void AppendEscaped(std::string& out, std::string_view text) {
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
}

bool IsBlankText(std::string_view text) { return TrimBlanks(text).empty(); }

// The error convention for a routine that isn't a member of a reporting class.
class RoutineReporter final : public ErrorReporter {
 public:
  using ErrorReporter::Guard;
};

const TOProperties& PropertiesOf(const TrackedObject& object) {
  if (!object.m_objTOProp) RaiseRuntimeError(kErrObjectRequired);  // a plug-in may clear the public field
  return *object.m_objTOProp;
}

void AppendObjectBlock(std::string& text, const TrackedObject& object, const TOProperties& properties) {
  text.append("      <TrackedObject Name=\"");
  AppendEscaped(text, object.ObjectName());
  text.append("\"");
  if (!IsBlankText(object.ObjectType())) {
    text.append(" TOType=\"");
    AppendEscaped(text, object.ObjectType());
    text.append("\"");
  }
  text.append(">").append(kLineEnd);
  text.append("        <Properties>").append(kLineEnd);
  for (const TOPropertyRef& property : properties) {
    text.append("          <Property Name=\"");
    AppendEscaped(text, property->PropertyName());
    text.append("\"");
    if (!IsBlankText(property->PropertyType())) {
      text.append(" PType=\"");
      AppendEscaped(text, property->PropertyType());
      text.append("\"");
    }
    // The date is our own text and goes out as it is.
    text.append(" CollectionDate=\"").append(property->CollectionDate()).append("\">");
    const Value& value = property->PropertyValue();
    if (const std::string* plain = value.AsString()) {
      AppendEscaped(text, *plain);
    } else {
      AppendEscaped(text, value.ToText());
    }
    text.append("</Property>").append(kLineEnd);
  }
  text.append("        </Properties>").append(kLineEnd);
  text.append("      </TrackedObject>").append(kLineEnd);
}

// The objects of one resource, in the collection's order.
struct ResourceGroup {
  const std::string* name;
  std::vector<const TrackedObject*> objects;
};

// Resources in order of first appearance, in one walk of the collection.
std::vector<ResourceGroup> GroupByResource(const TrackedObjects& trackedObjects) {
  std::vector<ResourceGroup> groups;
  std::unordered_map<std::string_view, size_t> positions;
  for (const TrackedObjectRef& object : trackedObjects) {
    const auto [at, added] = positions.try_emplace(object->ResourceName(), groups.size());
    if (added) groups.push_back({&object->ResourceName(), {}});
    groups[at->second].objects.push_back(object.get());
  }
  return groups;
}

}  // namespace

std::string ConvertTrackedObjectsToXML(int32_t entityID, TrackedObjects& trackedObjects,
                                       const LogManagerRef& logManager, std::string_view category) {
  std::string result;
  auto trace = [&](std::string_view text) {
    if (logManager) logManager->Log(text, category, logLevelDebug);
  };
  RoutineReporter reporter;
  reporter.SetLogManager(logManager);
  reporter.Guard("MonitorManager.ConvertTrackedObjectsToXML: ", [&] {
    trace("Getting Tracked Object XML");
    if (trackedObjects.Count() == 0) {
      trace("No Tracked Objects found");
    } else {
      const std::string entity = std::to_string(entityID);
      std::string text = "<Resources>";
      text.append(kLineEnd);
      std::string traceLine;
      bool anyWritten = false;
      for (const ResourceGroup& group : GroupByResource(trackedObjects)) {
        text.append("  <Resource RefEntity=\"").append(entity).append("\" Name=\"");
        AppendEscaped(text, *group.name);
        text.append("\">").append(kLineEnd).append("    <TrackedObjects>").append(kLineEnd);
        for (const TrackedObject* object : group.objects) {
          const TOProperties& properties = PropertiesOf(*object);
          if (properties.Count() > 0) {
            if (logManager) trace(traceLine.assign("Adding XML for Tracked Object ").append(object->ObjectName()));
            AppendObjectBlock(text, *object, properties);
            anyWritten = true;
          } else {
            // Left out; the collection is emptied below with everything else.
            trace("Tracked Object had no properties...not adding to final XML");
          }
        }
        text.append("    </TrackedObjects>").append(kLineEnd).append("  </Resource>").append(kLineEnd);
      }
      text.append("</Resources>").append(kLineEnd);
      if (anyWritten) result = std::move(text);
      trace("Retrieved Tracked Object XML");
    }
    trackedObjects.RemoveAll();
  });
  return result;
}

}  // namespace korad
