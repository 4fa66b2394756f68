// What the checker reads of a configuration tree: positions, module types and MHL files. Widget types
// are covered through the checker's attribute checks (pdlcheck_checker.cpp).
#include "configtree.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace
{
class PdlcheckConfigTree : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "pdlcheck-config-XXXXXX").string();
        ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
        m_dir = pattern;
        write("Hardware.xml", "<hardware><module workplace=\"0\" group=\"1\" number=\"1\" type=\"Row\" version=\"2\"/>"
                              "<module workplace=\"0\" group=\"1\" number=\"2\" type=\"Row\"/>"
                              "<module workplace=\"0\" group=\"1\" number=\"x\" type=\"Bad\"/></hardware>");
        write("ModuleTypes.xml", "<moduleTypes><moduleType name=\"Row\"><widget number=\"1\" type=\"B\" name=\"One\"/>"
                                 "<widget number=\"2\" type=\"B\"/><widget number=\"0\" type=\"B\"/></moduleType>"
                                 "<moduleType name=\"Plain\"><widget number=\"5\" type=\"C\"/></moduleType></moduleTypes>");
        write("MHL/Row_2.mhl", "<mhl moduleType=\"Row\"><widget number=\"2\"/><widget number=\"9\"/></mhl>");
        write("MHL/Row.mhl", "<mhl moduleType=\"Row\"><widget number=\"1\"/></mhl>");
    }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    void write(std::string const& name, std::string const& text)
    {
        std::filesystem::path const path = std::filesystem::path(m_dir) / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }

    std::string m_dir;
};

TEST_F(PdlcheckConfigTree, PositionsAndWidgetsOfModuleTypes)
{
    ConfigTree const tree(m_dir);
    std::string type;
    std::string version;
    EXPECT_TRUE(tree.findModule(0, 1, 1, type, version));
    EXPECT_EQ(type + "/" + version, "Row/2");
    EXPECT_TRUE(tree.findModule(0, 1, 2, type, version));
    EXPECT_EQ(type + "/" + version, "Row/");
    EXPECT_FALSE(tree.findModule(0, 1, 3, type, version));

    // The versioned MHL file when it exists, as the panel chooses; its numbers decide, the module type
    // adds what it knows of them.
    struct Case
    {
        char const* m_type;
        char const* m_version;
        bool m_known;
        char const* m_source;
        char const* m_widgets;
    } const cases[] = {
        {"Row", "2", true, "MHL/Row_2.mhl", "2:B 9: "},
        {"Row", "7", true, "MHL/Row.mhl", "1:B:One "},
        {"Row", "", true, "MHL/Row.mhl", "1:B:One "},
        {"Plain", "", true, "ModuleTypes.xml", "5:C "},
        {"Absent", "", false, "", ""},
    };
    for (Case const& c : cases)
    {
        std::map<unsigned int, WidgetInfo> widgets;
        std::string source;
        EXPECT_EQ(tree.getWidgets(c.m_type, c.m_version, widgets, source), c.m_known) << c.m_type << c.m_version;
        std::string text;
        for (auto const& entry : widgets)
        {
            text += std::to_string(entry.first) + ":" + entry.second.m_type +
                    (entry.second.m_name.empty() ? "" : ":" + entry.second.m_name) + " ";
        }
        EXPECT_EQ(source, c.m_source) << c.m_type << c.m_version;
        EXPECT_EQ(text, c.m_widgets) << c.m_type << c.m_version;
    }
}

} // namespace
