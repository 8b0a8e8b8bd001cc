#include "incident/tracked_objects_xml.h"

#include <vector>

#include "contracts/error_reporter.h"
#include "contracts/text.h"
#include "incident/tracked_objects.h"

namespace korad {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

// "&" first, so that the entities added afterwards aren't escaped again; the apostrophe
// stays as it is, since every attribute is quoted with the quote mark.
std::string Escape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
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

std::string ObjectBlock(const TrackedObject& object) {
  std::string block = "      <TrackedObject Name=\"" + Escape(object.ObjectName()) + "\"";
  if (!IsBlankText(object.ObjectType())) block += " TOType=\"" + Escape(object.ObjectType()) + "\"";
  block.append(">").append(kLineEnd);
  block.append("        <Properties>").append(kLineEnd);
  for (const TOPropertyRef& property : PropertiesOf(object)) {
    block += "          <Property Name=\"" + Escape(property->PropertyName()) + "\"";
    if (!IsBlankText(property->PropertyType())) block += " PType=\"" + Escape(property->PropertyType()) + "\"";
    // The date is our own text and goes out as it is.
    block += " CollectionDate=\"" + property->CollectionDate() + "\">" + Escape(property->PropertyValue().ToText()) +
             "</Property>";
    block.append(kLineEnd);
  }
  block.append("        </Properties>").append(kLineEnd);
  block.append("      </TrackedObject>").append(kLineEnd);
  return block;
}

// Resource names in order of first appearance.
std::vector<std::string> DistinctResources(const TrackedObjects& trackedObjects) {
  std::vector<std::string> names;
  for (const TrackedObjectRef& object : trackedObjects) {
    bool known = false;
    for (const std::string& name : names) known = known || name == object->ResourceName();
    if (!known) names.push_back(object->ResourceName());
  }
  return names;
}

}  // namespace

std::string ConvertTrackedObjectsToXML(int32_t entityID, TrackedObjects& trackedObjects,
                                       const LogManagerRef& logManager, std::string_view category) {
  std::string result;
  auto trace = [&](const std::string& text) {
    if (logManager) logManager->Log(text, category, logLevelDebug);
  };
  RoutineReporter reporter;
  reporter.SetLogManager(logManager);
  reporter.Guard("MonitorManager.ConvertTrackedObjectsToXML: ", [&] {
    trace("Getting Tracked Object XML");
    if (trackedObjects.Count() == 0) {
      trace("No Tracked Objects found");
    } else {
      std::string text = "<Resources>";
      text.append(kLineEnd);
      for (const std::string& resource : DistinctResources(trackedObjects)) {
        text += "  <Resource RefEntity=\"" + std::to_string(entityID) + "\" Name=\"" + Escape(resource) + "\">";
        text.append(kLineEnd).append("    <TrackedObjects>").append(kLineEnd);
        for (int32_t position = 1; position <= trackedObjects.Count();) {
          const TrackedObjectRef object = trackedObjects.Item(Value(position));
          if (object->ResourceName() != resource) {
            ++position;
            continue;
          }
          std::string block = ObjectBlock(*object);
          if (PropertiesOf(*object).Count() > 0) {
            trace("Adding XML for Tracked Object " + object->ObjectName());
            text += block;
            ++position;
          } else {
            // Whatever follows moves up into this position; a removal the collection
            // refused (and logged) mustn't stall the walk.
            const int32_t before = trackedObjects.Count();
            trackedObjects.Remove(static_cast<int16_t>(position));
            if (trackedObjects.Count() == before) ++position;
            trace("Tracked Object had no properties...not adding to final XML");
          }
        }
        text.append("    </TrackedObjects>").append(kLineEnd).append("  </Resource>").append(kLineEnd);
      }
      text.append("</Resources>").append(kLineEnd);
      if (trackedObjects.Count() > 0) result = std::move(text);
      trace("Retrieved Tracked Object XML");
    }
    trackedObjects.RemoveAll();
  });
  return result;
}

}  // namespace korad
