// The checker on real sources: a module load through the core, read back as diagnostics. What single
// files report is covered by the samples below tests/pdlcheck/ (a sidecar .pdlcheck each).
#include "checker.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace
{
class PdlcheckChecker : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "pdlcheck-test-XXXXXX").string();
        ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
        m_dir = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    std::string write(std::string const& name, std::string const& text)
    {
        std::filesystem::path const path = std::filesystem::path(m_dir) / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
        return path.string();
    }

    static std::string show(FileResult const& result)
    {
        std::string text;
        for (Diagnostic const& d : result.m_diagnostics)
        {
            std::string file = d.m_file;
            file = file.substr(file.find_last_of('/') + 1);
            text += file + ":" + std::to_string(d.m_line) + ": " + getSeverityText(d.m_severity) + ": " +
                    d.m_message + "|";
        }
        return text;
    }

    std::string m_dir;
};

TEST_F(PdlcheckChecker, EachFileStartsAfresh)
{
    // A panel goes on counting lines from one module to the next and keeps group variables; each
    // checked file starts at line 1 in scopes of its own.
    std::string const first = write("first.pdl", "group $shared\n\n\n\ninit\n  $shared := 1\nend init\n");
    std::string const second = write("second.pdl", "init\n  $shared := 2\nend init\n");
    std::string const third = write("third.pdl", "include \"gone.pdl\n");
    std::string const fourth = write("fourth.pdl", "module $a\n@T { @ }\n");
    Checker checker;
    EXPECT_EQ(checker.check(first).m_status, FileResult::eClean);
    EXPECT_EQ(show(checker.check(second)), "second.pdl:2: error: undeclared variable shared|");
    checker.check(third);
    // The include cascade of the third file leaves the scanner reading file names; not so the fourth.
    EXPECT_EQ(show(checker.check(fourth)), "fourth.pdl:2: error: syntax error, unexpected '@'|");
}

TEST_F(PdlcheckChecker, ConfigurationTellsWidgetsAndDelegationTypes)
{
    write("config/ModuleTypes.xml",
          "<moduleTypes><moduleType name=\"Row\"><widget number=\"1\" type=\"B\"/><widget number=\"2\" type=\"B\"/>"
          "</moduleType></moduleTypes>");
    write("config/WidgetTypes.xml", "<widgetTypes><widgetType name=\"B\"><attribute name=\"LAMP\" type=\"bool\"/>"
                                    "<receiveEvent name=\"FLASH\" type=\"text\"/></widgetType></widgetTypes>");
    write("config/MHL/Row.mhl", "<mhl moduleType=\"Row\"><widget number=\"1\"/></mhl>");
    write("config/Hardware.xml", "<hardware><module port=\"1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"4\" "
                                 "type=\"Row\"/></hardware>");
    write("config/DelegationTypes.xml",
          "<delegation_type_description><delegation_type name=\"CAM\" slots=\"2\"/></delegation_type_description>");
    std::string const source = "extern CAM $cam\nextern VTR $vtr\nwidget $a = 1\nend widget\nwidget $b = 2\nend widget\n";
    // What the code does to controls: attributes and events of their widget type, numbers of the module.
    std::string const controls = "@Both { 1, 2 }\n"
                                 "widget $w <- @Both\n"
                                 "  set(LAMP) 1\n"
                                 "  if 1 == 1 then\n"
                                 "    event (DOWN)\n"
                                 "      set(LAMPS) 0\n"
                                 "    end event\n"
                                 "  end if\n"
                                 "  trigger(FLASH)\n"
                                 "  trigger(BLINK)\n"
                                 "  connect(LAMP) A.B\n"
                                 "end widget\n"
                                 "sequence $s = 1 startevent(DOWN)\n"
                                 "  INIT:\n"
                                 "    event (ENTER)\n"
                                 "      set(widget[1].LAMP) 1\n"
                                 "      set(widget[7].LAMP) 1\n"
                                 "      connect(widget[1].COLOR) A.B\n"
                                 "    end event\n"
                                 "end sequence\n";
    std::string const controlFile = write("config/PDL/Row/controls.pdl", controls);
    std::string const inTree = write("config/PDL/Row/default.pdl", source);
    std::string const outside = write("loose.pdl", source);

    Checker checker;
    std::vector<Diagnostic> configDiagnostics;
    ASSERT_TRUE(checker.setConfig(m_dir + "/config", configDiagnostics));
    EXPECT_TRUE(configDiagnostics.empty());
    char const* const expected =
        "default.pdl:2: warning: External variable vtr is of unknown delegation type VTR|"
        "default.pdl:5: warning: widget code for widget 2: module type Row has no widget 2 (see MHL/Row.mhl)|";
    FileResult const result = checker.check(inTree);
    EXPECT_EQ(result.m_status, FileResult::eClean);
    EXPECT_EQ(show(result), expected);

    // The MHL file announces widget 1 only: widget 2 is none of the module's.
    EXPECT_EQ(show(checker.check(controlFile)),
              "controls.pdl:2: warning: widget code for widget 2: module type Row has no widget 2 (see MHL/Row.mhl)|"
              "controls.pdl:6: warning: set(LAMPS): widget type B (widget 1) has no attribute LAMPS (see WidgetTypes.xml)|"
              "controls.pdl:10: warning: trigger(BLINK): widget type B (widget 1) has no event BLINK (see WidgetTypes.xml)|"
              "controls.pdl:17: warning: set(widget[7].LAMP): module type Row has no widget 7 (see MHL/Row.mhl)|"
              "controls.pdl:18: warning: connect(COLOR): widget type B (widget 1) has no attribute COLOR (see WidgetTypes.xml)|");

    // Outside the tree the module type comes from the position in the inventory.
    EXPECT_EQ(show(checker.check(outside)), "loose.pdl:2: warning: External variable vtr is of unknown delegation type VTR|");
    checker.setModule(0, 1, 4);
    EXPECT_EQ(show(checker.check(outside)),
              "loose.pdl:2: warning: External variable vtr is of unknown delegation type VTR|"
              "loose.pdl:5: warning: widget code for widget 2: module type Row has no widget 2 (see MHL/Row.mhl)|");
}

TEST_F(PdlcheckChecker, BadDelegationFileIsReported)
{
    write("config/DelegationTypes.xml",
          "<delegation_type_description><delegation_type name=\"A\" slots=\"x\"/></delegation_type_description>");
    Checker checker;
    std::vector<Diagnostic> diagnostics;
    EXPECT_FALSE(checker.setConfig(m_dir + "/config", diagnostics));
    ASSERT_EQ(diagnostics.size(), 1u);
    EXPECT_EQ(diagnostics[0].m_message, "Parse error in \"" + m_dir + "/config/DelegationTypes.xml\" line 1");
    EXPECT_FALSE(checker.setConfig(m_dir + "/nothing", diagnostics));
}
} // namespace
