// The driver's XML readers: what they accept, and that every rejected file names itself and the
// offending line on standard error and leaves what was read before.

#include "driver_testutil.h"
#include "hwpanelmodel.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using hwsim::HwPanelModel;

namespace
{
std::string xml(std::string const& body)
{
    return "<?xml version=\"1.0\"?>\n" + body;
}

// A widget type file with one type "A" whose body is the given line (on line 4).
std::string widgetType(std::string const& line)
{
    return "<widgetTypes>\n  <widgetType name=\"A\">\n    " + line + "\n  </widgetType>\n</widgetTypes>\n";
}

// A module type file with one type "M" holding the given lines (from line 4 on).
std::string moduleType(std::string const& lines)
{
    return "<moduleTypes>\n  <moduleType name=\"M\">\n    " + lines + "\n  </moduleType>\n</moduleTypes>\n";
}

// An inventory line with the given attributes, as the second line of the file's body.
std::string inventory(std::string const& attributes, std::string const& more = "")
{
    return "<hardware>\n  <module " + attributes + "/>\n" + more + "</hardware>\n";
}

char const* const s_place = "port=\"1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"1\"";

class DriverXml : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_model.readWidgetTypes(m_dir.write("WidgetTypes.xml", drivertest::widgetTypesText())));
        ASSERT_TRUE(m_model.readModuleTypes(m_dir.write("ModuleTypes.xml", drivertest::moduleTypesText())));
    }

    drivertest::ScratchDir m_dir;
    HwPanelModel m_model;
};
} // namespace

TEST_F(DriverXml, BadFilesNameFileAndLine)
{
    enum EReader
    {
        eWidgetTypes,
        eModuleTypes,
        eInventory,
        eMHL
    };
    struct Case
    {
        EReader m_reader;
        std::string m_body;      // after the declaration line
        char const* m_message;   // after the file name
        char const* m_mhlType;   // the type the module has, for eMHL
    };
    std::string const keys = std::string(s_place) + " type=\"Keys\"";
    // One case per reader and kind of check; the start-up scenarios show the messages end to end.
    std::vector<Case> const cases = {
        {eWidgetTypes, "<widgetTypes>\n  <widgetType name=\"A\">\n</widgetTypes>\n", "(4): Error reading end tag.", ""},
        {eWidgetTypes, widgetType("<attribute name=\"X\" type=\"bool\" default=\"yes\"/>"),
         "(4): default \"yes\" does not fit the type bool", ""},
        {eWidgetTypes, widgetType("<attribute name=\"X\" type=\"text\"/>\n<receiveEvent name=\"X\" type=\"text\"/>"),
         "(5): \"X\" defined twice in widget type \"A\"", ""},
        {eModuleTypes, moduleType("<widget number=\"65536\" type=\"Key\"/>"),
         "(4): attribute number=\"65536\" must be a number from 1 to 65535", ""},
        {eModuleTypes, moduleType("<widget number=\"2\" type=\"Key\"/>\n<widget number=\"2\" type=\"Fader\"/>"),
         "(5): widget 2 defined twice", ""},
        {eInventory, inventory("port=\"-1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"1\" type=\"Keys\""),
         "(3): attribute port=\"-1\" must be a number from 0 to 65535", ""},
        {eInventory,
         inventory(keys, "  <module port=\"1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"2\" type=\"Keys\"/>\n"),
         "(4): port 1 connector 1 used twice", ""},
        {eMHL, "<mhl moduleType=\"Mixer\">\n  <widget number=\"3\"/>\n  <widget number=\"3\"/>\n</mhl>\n",
         "(4): widget 3 announced twice", ""},
        {eMHL, "<mhl moduleType=\"Mixer\">\n</mhl>\n", "(2): describes module type \"Mixer\", the module is a \"Keys\"",
         "Keys"},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.m_body);
        std::string const file = m_dir.write("Bad.xml", xml(c.m_body));
        std::vector<hwsim::InventoryEntry> entries(1);
        std::string type;
        std::vector<uint16_t> widgets(1);
        testing::internal::CaptureStderr();
        bool const read = c.m_reader == eWidgetTypes   ? m_model.readWidgetTypes(file)
                          : c.m_reader == eModuleTypes ? m_model.readModuleTypes(file)
                          : c.m_reader == eInventory   ? m_model.readInventory(file, entries)
                                                       : m_model.readMHL(file, c.m_mhlType, type, widgets);
        EXPECT_FALSE(read);
        EXPECT_EQ(file + c.m_message + "\n", testing::internal::GetCapturedStderr());
        EXPECT_EQ(1u, entries.size());
        EXPECT_EQ(1u, widgets.size());
    }
    std::string const missing = m_dir.path() + "/none.xml";
    testing::internal::CaptureStderr();
    EXPECT_FALSE(m_model.readModuleTypes(missing));
    EXPECT_EQ(missing + ": cannot open the file\n", testing::internal::GetCapturedStderr());
    // Rejected files leave the types read before.
    EXPECT_EQ(2u, m_model.getWidgetTypeCount());
    EXPECT_TRUE(m_model.hasModuleType("Keys"));
    EXPECT_FALSE(m_model.hasModuleType("M"));
}
