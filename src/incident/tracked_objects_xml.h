// The data collection text: every tracked object with at least one property, grouped by
// resource, as the server's data collection queue reads it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "contracts/interfaces.h"

namespace korad {

class TrackedObjects;

// The XML of `trackedObjects` for entity `entityID`, each line ending in "\r\n":
//
//   <Resources>
//     <Resource RefEntity="7" Name="srv1">
//       <TrackedObjects>
//         <TrackedObject Name="C:" TOType="Disk">          (TOType only when not blank)
//           <Properties>
//             <Property Name="Free" PType="MB" CollectionDate="...">512</Property>
//           </Properties>
//         </TrackedObject>
//       </TrackedObjects>
//     </Resource>
//   </Resources>
//
// Objects without properties are left out; the text is empty when none is left. The
// collection is emptied in every case: each pass sends what it has. Trace lines go to
// `logManager` under `category` (the module's name) at level 7; a failure is reported
// as "MonitorManager.ConvertTrackedObjectsToXML: " + description, logged under
// "DevSvcErr" with a log manager (the result is then empty) or raised without one. The
// engine passes its IncidentForms' TrackedObjects.
std::string ConvertTrackedObjectsToXML(int32_t entityID, TrackedObjects& trackedObjects,
                                       const LogManagerRef& logManager, std::string_view category);

}  // namespace korad
