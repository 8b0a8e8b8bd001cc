// The plug-in's entry: the host calls it once after loading the shared object.
#include "contracts/class_registry.h"
#include "korad_linux/actors.h"
#include "korad_linux/monitors.h"

extern "C" __attribute__((visibility("default"))) void KoradRegister(korad::ClassRegistry& registry) {
  korad::RegisterLinuxMonitors(registry);
  korad::RegisterLinuxActors(registry);
}
