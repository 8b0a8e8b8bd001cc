// The ini text model: what the profile functions read from a file's text, and what a
// change does to it. Lines a change doesn't touch must come back byte for byte.
#include "platform/ini_document.h"

#include <gtest/gtest.h>

namespace korad {
namespace {

using Lines = std::vector<std::string>;

// A file as people and other tools leave it: comments, blanks around "=", a duplicate
// key, a duplicate section, values holding "=", ";" and quotes, no line end at the end.
constexpr std::string_view kAgentIni =
    "; agent settings\r\n"
    "[MvAgent]\r\n"
    "  LogLevel = 6  \r\n"
    "; the server\r\n"
    "Server=https://host/a?b=c;d\r\n"
    "loglevel=9\r\n"
    "Connect=\"Provider=X;Data Source=Y\"\r\n"
    "odd line without equals\r\n"
    "\r\n"
    "[Disk Monitor]\r\n"
    "Frequency=30\r\n"
    "\r\n"
    "[MVAGENT]\r\n"
    "Hidden=1";

TEST(IniDocumentTest, ReadsAsTheHostDoesAndWritesBackByteForByte) {
  IniDocument ini = IniDocument::Parse(kAgentIni);
  EXPECT_EQ(ini.Serialize(), kAgentIni);

  EXPECT_EQ(ini.SectionNames(), (Lines{"MvAgent", "Disk Monitor"}));
  EXPECT_EQ(ini.Value("mvagent", "LOGLEVEL"), "6");  // first key, trimmed
  EXPECT_EQ(ini.Value("MvAgent", "Server"), "https://host/a?b=c;d");
  EXPECT_EQ(ini.Value("MvAgent", "Connect"), "\"Provider=X;Data Source=Y\"");
  EXPECT_EQ(ini.Value("MvAgent", "Hidden"), std::nullopt);  // only the first section counts
  EXPECT_EQ(ini.Value("MvAgent", "; the server"), std::nullopt);
  EXPECT_EQ(ini.Value("Missing", "x"), std::nullopt);
  EXPECT_EQ(ini.SectionLines("MVAGENT"),
            (Lines{"LogLevel=6", "; the server", "Server=https://host/a?b=c;d", "loglevel=9",
                   "Connect=\"Provider=X;Data Source=Y\"", "odd line without equals"}));
  EXPECT_EQ(ini.SectionLines("disk monitor"), (Lines{"Frequency=30"}));
  EXPECT_EQ(ini.SectionLines("Missing"), std::nullopt);

  // LF files, a BOM, and keys before any section (which belong to no section).
  IniDocument lf = IniDocument::Parse("\xEF\xBB\xBF[A]\nk=v\nstray=1\n[B]\nk = w \n");
  EXPECT_EQ(lf.SectionNames(), (Lines{"A", "B"}));
  EXPECT_EQ(lf.Value("b", "K"), "w");
  EXPECT_EQ(IniDocument::Parse("top=1\n[S]\n").SectionLines("S"), Lines{});
  EXPECT_EQ(IniDocument::Parse("").SectionNames(), Lines{});
}

TEST(IniDocumentTest, SettingAValueChangesOneLineOrAddsOneWhereItBelongs) {
  IniDocument ini = IniDocument::Parse(kAgentIni);
  std::string expected(kAgentIni);

  // In place, first occurrence only; the key keeps its spelling and spacing.
  EXPECT_TRUE(ini.SetValue("MVAGENT", "loglevel", "4"));
  expected.replace(expected.find("  LogLevel = 6  "), 16, "  LogLevel =4");
  EXPECT_EQ(ini.Serialize(), expected);
  EXPECT_FALSE(ini.SetValue("mvagent", "LogLevel", "4"));  // nothing to change

  // A new key goes after the section's last line, before the blank that separates it.
  EXPECT_TRUE(ini.SetValue("Disk Monitor", "Units", "n;=x"));
  expected.replace(expected.find("Frequency=30\r\n") + 14, 0, "Units=n;=x\r\n");
  EXPECT_EQ(ini.Serialize(), expected);

  // A new section goes at the end; the unterminated last line gets its line end first.
  EXPECT_TRUE(ini.SetValue("New Section", "Key", " spaced "));
  expected += "\r\n[New Section]\r\nKey= spaced \r\n";
  EXPECT_EQ(ini.Serialize(), expected);
  EXPECT_EQ(ini.Value("new section", "key"), "spaced");

  // A line break can't smuggle another key or section into the file.
  EXPECT_TRUE(ini.SetValue("New Section", "Key", "a\r\n[Evil]\r\nx=1"));
  EXPECT_EQ(ini.Value("New Section", "Key"), "a");
  EXPECT_EQ(ini.SectionNames().size(), 3u);
}

TEST(IniDocumentTest, NewLinesFollowTheFilesLineEnds) {
  IniDocument lf = IniDocument::Parse("[A]\nk=v\n");
  lf.SetValue("A", "n", "1");
  lf.SetValue("B", "m", "2");
  EXPECT_EQ(lf.Serialize(), "[A]\nk=v\nn=1\n[B]\nm=2\n");

  IniDocument fresh;
  fresh.SetValue("S", "K", "V");
  EXPECT_EQ(fresh.Serialize(), "[S]\r\nK=V\r\n");

  // Mixed files keep each untouched line as it was; added lines take the first line's end.
  IniDocument mixed = IniDocument::Parse("[A]\r\nk=v\n[B]\nx=1");
  mixed.SetValue("B", "y", "2");
  EXPECT_EQ(mixed.Serialize(), "[A]\r\nk=v\n[B]\nx=1\r\ny=2\r\n");
}

TEST(IniDocumentTest, DeletingKeysAndSections) {
  IniDocument ini = IniDocument::Parse(kAgentIni);

  // A deleted key is gone for good, duplicates included; comments stay.
  EXPECT_TRUE(ini.DeleteKey("mvagent", "LOGLEVEL"));
  EXPECT_EQ(ini.Value("MvAgent", "LogLevel"), std::nullopt);
  EXPECT_EQ(ini.SectionLines("MvAgent")->front(), "; the server");
  EXPECT_FALSE(ini.DeleteKey("MvAgent", "LogLevel"));
  EXPECT_FALSE(ini.DeleteKey("Missing", "LogLevel"));

  // Deleting a section removes every section of that name and leaves the others exactly.
  EXPECT_TRUE(ini.DeleteSection("MVAGENT"));
  EXPECT_EQ(ini.Serialize(), "; agent settings\r\n[Disk Monitor]\r\nFrequency=30\r\n\r\n");
  EXPECT_FALSE(ini.DeleteSection("MvAgent"));
  EXPECT_TRUE(ini.DeleteSection("disk monitor"));
  EXPECT_EQ(ini.Serialize(), "; agent settings\r\n");
}

TEST(IniDocumentTest, ReplacingASectionsLines) {
  IniDocument ini = IniDocument::Parse("[A]\r\nold=1\r\n; note\r\n\r\n[B]\r\nb=1\r\n[a]\r\ndup=1\r\n");

  // One entry per line, or several lines joined by line ends in one entry.
  EXPECT_TRUE(ini.ReplaceSection("a", {"MyMonitorID=Disk\r\nFrequency=30", "", "Units=n"}));
  EXPECT_EQ(ini.Serialize(), "[A]\r\nMyMonitorID=Disk\r\nFrequency=30\r\nUnits=n\r\n\r\n[B]\r\nb=1\r\n");
  EXPECT_FALSE(ini.ReplaceSection("A", {"MyMonitorID=Disk", "Frequency=30", "Units=n"}));

  EXPECT_TRUE(ini.ReplaceSection("C", {"c=3"}));
  EXPECT_EQ(ini.SectionLines("C"), Lines{"c=3"});

  // No text deletes the section.
  EXPECT_TRUE(ini.ReplaceSection("A", {}));
  EXPECT_EQ(ini.Serialize(), "[B]\r\nb=1\r\n[C]\r\nc=3\r\n");
  EXPECT_FALSE(ini.ReplaceSection("A", {""}));
}

}  // namespace
}  // namespace korad
