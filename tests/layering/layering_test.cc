// The folders are layers: contracts < platform < foundation < incident < monitor <
// (action, control, transfer, update, retained) < apps, plugins. A file includes only its
// own layer and the layers below; platform code outside platform/linux never includes the
// Linux implementations, which CMake picks. This test reads every include of the tree.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

struct Place {
  int layer;
  std::string component;  // an app or plug-in folder; blank for the library's layers
};

const std::map<std::string, int>& LibraryLayers() {
  static const std::map<std::string, int> layers = {
      {"contracts", 0}, {"platform", 1}, {"foundation", 2}, {"incident", 3}, {"monitor", 4},
      {"action", 5},    {"control", 5},  {"transfer", 5},   {"update", 5},   {"retained", 5}};
  return layers;
}
constexpr int kProgramLayer = 6;

// Where a file of the tree sits, from its path relative to the root.
std::optional<Place> PlaceOfFile(const fs::path& relative) {
  auto part = relative.begin();
  if (part == relative.end()) return std::nullopt;
  const std::string top = part->string();
  if (++part == relative.end()) return std::nullopt;
  if (top == "src") {
    auto found = LibraryLayers().find(part->string());
    if (found == LibraryLayers().end()) return std::nullopt;
    return Place{found->second, ""};
  }
  if (top == "apps" || top == "plugins") return Place{kProgramLayer, top + "/" + part->string()};
  return std::nullopt;
}

// Every fault of the tree's includes, one line each; blank when the layers hold.
std::vector<std::string> LayerViolations(const fs::path& root) {
  static const std::regex includeLine(R"re(^\s*#\s*include\s+"([^"]+)")re");
  std::vector<std::string> faults;
  for (const char* top : {"src", "apps", "plugins"}) {
    if (!fs::exists(root / top)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(root / top)) {
      const std::string extension = entry.path().extension().string();
      if (!entry.is_regular_file() || (extension != ".cc" && extension != ".h")) continue;
      const fs::path relative = fs::relative(entry.path(), root);
      const std::optional<Place> from = PlaceOfFile(relative);
      if (!from) {
        faults.push_back(relative.string() + ": a folder outside the layers");
        continue;
      }
      const std::string fromText = relative.generic_string();
      const bool portablePlatform =
          fromText.starts_with("src/platform/") && !fromText.starts_with("src/platform/linux/");
      std::ifstream in(entry.path());
      std::string line;
      for (int number = 1; std::getline(in, line); ++number) {
        std::smatch match;
        if (!std::regex_search(line, match, includeLine)) continue;
        const std::string target = match[1].str();
        const std::string where = fromText + ":" + std::to_string(number) + ": \"" + target + "\" ";
        const size_t slash = target.find('/');
        if (slash == std::string::npos) continue;  // a file of its own folder
        const std::string root = target.substr(0, slash);
        if (portablePlatform && target.starts_with("platform/linux/")) {
          faults.push_back(where + "reaches the Linux implementations");
          continue;
        }
        auto library = LibraryLayers().find(root);
        if (library != LibraryLayers().end()) {
          if (library->second > from->layer) faults.push_back(where + "is a layer above");
        } else if (from->component != "plugins/" + root) {
          faults.push_back(where + "is outside the library and its own program");
        }
      }
    }
  }
  return faults;
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const auto& line : lines) text += line + "\n";
  return text;
}

TEST(Layering, TheTreeIncludesOnlyDownward) {
  const auto faults = LayerViolations(KORAD_SOURCE_DIR);
  EXPECT_TRUE(faults.empty()) << Joined(faults);
}

// The checker itself, on a small tree of its own: each kind of fault is seen, and a
// tree that keeps the order passes.
TEST(Layering, EachKindOfFaultIsSeen) {
  const fs::path root = fs::temp_directory_path() / ("korad_layering_" + std::to_string(::getpid()));
  fs::remove_all(root);
  auto write = [&](const std::string& path, const std::string& text) {
    fs::create_directories((root / path).parent_path());
    std::ofstream(root / path) << text;
  };
  write("src/monitor/good.cc", "#include \"incident/x.h\"\n#include \"contracts/y.h\"\n#include \"own.h\"\n");
  write("plugins/korad_linux/good.cc", "#include \"korad_linux/a.h\"\n#include \"monitor/b.h\"\n");
  write("src/platform/linux/good.cc", "#include \"platform/linux/z.h\"\n");
  EXPECT_TRUE(LayerViolations(root).empty()) << Joined(LayerViolations(root));

  write("src/platform/bad_up.cc", "#include <string>\n#include \"foundation/attributes.h\"\n");
  write("src/platform/bad_linux.h", "#include \"platform/linux/posix_error.h\"\n");
  write("src/contracts/bad_up.h", "  #  include \"platform/clock.h\"\n");
  write("apps/koradctl/bad_other.cc", "#include \"korad_linux/a.h\"\n");
  write("src/newfolder/x.cc", "\n");
  const auto faults = LayerViolations(root);
  fs::remove_all(root);
  const std::string text = Joined(faults);
  EXPECT_EQ(faults.size(), 5u) << text;
  EXPECT_NE(text.find("src/platform/bad_up.cc:2: \"foundation/attributes.h\" is a layer above"), std::string::npos) << text;
  EXPECT_NE(text.find("src/platform/bad_linux.h:1: \"platform/linux/posix_error.h\" reaches the Linux"), std::string::npos) << text;
  EXPECT_NE(text.find("src/contracts/bad_up.h:1"), std::string::npos) << text;
  EXPECT_NE(text.find("apps/koradctl/bad_other.cc:1"), std::string::npos) << text;
  EXPECT_NE(text.find("src/newfolder/x.cc: a folder outside the layers"), std::string::npos) << text;
}

}  // namespace
