// The driver's XML readers: the four file kinds, what they accept, and that every rejected file names
// itself and the offending line on standard error.

#include "driver_testutil.h"
#include "hwpanelmodel.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using drivertest::ScratchDir;
using hwsim::HwPanelModel;
using hwsim::InventoryEntry;

namespace
{
struct BadFile
{
    char const* m_text;
    // The line expected after the file name: "(LINE): message".
    char const* m_message;
};

std::string xml(std::string const& body)
{
    return "<?xml version=\"1.0\"?>\n" + body;
}

class DriverXml : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_model.readWidgetTypes(m_dir.write("WidgetTypes.xml", drivertest::widgetTypesText())));
        ASSERT_TRUE(m_model.readModuleTypes(m_dir.write("ModuleTypes.xml", drivertest::moduleTypesText())));
    }

    ScratchDir m_dir;
    HwPanelModel m_model;
};
} // namespace

TEST_F(DriverXml, GoodTypeFilesGiveTypesAttributesAndDefaults)
{
    EXPECT_EQ(2u, m_model.getWidgetTypeCount());
    EXPECT_EQ(2u, m_model.getModuleTypeCount());
    EXPECT_TRUE(m_model.hasWidgetType("Key"));
    EXPECT_TRUE(m_model.hasModuleType("Mixer"));
    EXPECT_FALSE(m_model.hasModuleType("Key"));

    hwsim::PluggedModule module;
    module.m_type = "Mixer";
    ASSERT_TRUE(m_model.plug(UniqueModuleID(0, 1, 2), module));
    UniqueWidgetID const fader(UniqueModuleID(0, 1, 2), 3);
    UniqueWidgetID const key(UniqueModuleID(0, 1, 2), 10);
    EXPECT_EQ(IPanelFeedback::eParamTypeNumeric, m_model.getAttributeType(fader, "POSITION"));
    EXPECT_EQ(IPanelFeedback::eParamTypeBool, m_model.getAttributeType(fader, "MOTOR"));
    EXPECT_EQ(IPanelFeedback::eParamTypeText, m_model.getAttributeType(key, "LABEL"));
    EXPECT_EQ(IPanelFeedback::eParamTypeUnknown, m_model.getAttributeType(fader, "LAMP"));
    EXPECT_EQ(IPanelFeedback::eParamTypeNumeric, m_model.getReceiveEventType(key, "FLASH"));
    EXPECT_EQ(IPanelFeedback::eParamTypeUnknown, m_model.getReceiveEventType(key, "LAMP"));

    // Written defaults in canonical form, and the implicit ones of each kind.
    std::vector<std::string> const expected = {
        "0.1.2.3 MOTOR=false", "0.1.2.3 NAME=",        "0.1.2.3 POSITION=0",
        "0.1.2.10 COLOR=-7",   "0.1.2.10 LABEL=CAM 1", "0.1.2.10 LAMP=true"};
    EXPECT_EQ(expected, m_model.show(UniqueModuleID(0, 1, 2), 0));
}

TEST_F(DriverXml, BadWidgetTypeFilesNameFileAndLine)
{
    BadFile const cases[] = {
        {"<widgetTypes>\n  <widgetType name=\"A\">\n</widgetTypes>\n", "(4): Error reading end tag."},
        {"<moduleTypes/>\n", "(2): root element must be <widgetTypes>"},
        {"<widgetTypes>\n  <widgetType/>\n</widgetTypes>\n", "(3): <widgetType> needs the attribute name"},
        {"<widgetTypes>\n  <type name=\"A\"/>\n</widgetTypes>\n", "(3): expected <widgetType>"},
        {"<widgetTypes>\n  <widgetType name=\"A\">\n    <attribute name=\"X\" type=\"float\"/>\n"
         "  </widgetType>\n</widgetTypes>\n",
         "(4): unknown parameter type \"float\" (bool, text or numeric)"},
        {"<widgetTypes>\n  <widgetType name=\"A\">\n    <attribute name=\"X\" type=\"bool\" "
         "default=\"yes\"/>\n"
         "  </widgetType>\n</widgetTypes>\n",
         "(4): default \"yes\" does not fit the type bool"},
        {"<widgetTypes>\n  <widgetType name=\"A\">\n    <attribute name=\"X\" type=\"numeric\" "
         "default=\"1.5\"/>\n"
         "  </widgetType>\n</widgetTypes>\n",
         "(4): default \"1.5\" does not fit the type numeric"},
        {"<widgetTypes>\n  <widgetType name=\"A\">\n    <attribute name=\"X\" type=\"numeric\" "
         "default=\"99999999999\"/>\n  </widgetType>\n</widgetTypes>\n",
         "(4): default \"99999999999\" does not fit the type numeric"},
        {"<widgetTypes>\n  <widgetType name=\"A\">\n    <attribute name=\"X\" type=\"text\"/>\n"
         "    <receiveEvent name=\"X\" type=\"text\"/>\n  </widgetType>\n</widgetTypes>\n",
         "(5): \"X\" defined twice in widget type \"A\""},
        {"<widgetTypes>\n  <widgetType name=\"A\">\n    <attribute type=\"text\"/>\n"
         "  </widgetType>\n</widgetTypes>\n",
         "(4): <attribute> needs the attribute name"},
        {"<widgetTypes>\n  <widgetType name=\"A\">\n    <colour name=\"X\" type=\"text\"/>\n"
         "  </widgetType>\n</widgetTypes>\n",
         "(4): expected <attribute> or <receiveEvent>"},
        {"<widgetTypes>\n  <widgetType name=\"A\"/>\n  <widgetType name=\"A\"/>\n</widgetTypes>\n",
         "(4): widget type \"A\" defined twice"},
    };
    for (BadFile const& bad : cases)
    {
        std::string const file = m_dir.write("Bad.xml", xml(bad.m_text));
        testing::internal::CaptureStderr();
        EXPECT_FALSE(m_model.readWidgetTypes(file)) << bad.m_text;
        EXPECT_EQ(file + bad.m_message + "\n", testing::internal::GetCapturedStderr()) << bad.m_text;
    }
    // A rejected file leaves the types read before.
    EXPECT_EQ(2u, m_model.getWidgetTypeCount());
    EXPECT_TRUE(m_model.hasWidgetType("Fader"));
}

TEST_F(DriverXml, MissingFileSaysSo)
{
    std::string const file = m_dir.path() + "/none.xml";
    testing::internal::CaptureStderr();
    EXPECT_FALSE(m_model.readModuleTypes(file));
    EXPECT_EQ(file + ": cannot open the file\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ(2u, m_model.getModuleTypeCount());
}

TEST_F(DriverXml, BadModuleTypeFilesNameFileAndLine)
{
    BadFile const cases[] = {
        {"<moduleTypes>\n  <moduleType name=\"M\">\n    <widget number=\"1\" type=\"Nope\"/>\n"
         "  </moduleType>\n</moduleTypes>\n",
         "(4): unknown widget type \"Nope\""},
        {"<moduleTypes>\n  <moduleType name=\"M\">\n    <widget number=\"0\" type=\"Key\"/>\n"
         "  </moduleType>\n</moduleTypes>\n",
         "(4): attribute number=\"0\" must be a number from 1 to 65535"},
        {"<moduleTypes>\n  <moduleType name=\"M\">\n    <widget number=\"65536\" type=\"Key\"/>\n"
         "  </moduleType>\n</moduleTypes>\n",
         "(4): attribute number=\"65536\" must be a number from 1 to 65535"},
        {"<moduleTypes>\n  <moduleType name=\"M\">\n    <widget number=\" 1\" type=\"Key\"/>\n"
         "  </moduleType>\n</moduleTypes>\n",
         "(4): attribute number=\" 1\" must be a number from 1 to 65535"},
        {"<moduleTypes>\n  <moduleType name=\"M\">\n    <widget number=\"2\" type=\"Key\"/>\n"
         "    <widget number=\"2\" type=\"Fader\"/>\n  </moduleType>\n</moduleTypes>\n",
         "(5): widget 2 defined twice"},
        {"<moduleTypes>\n  <moduleType name=\"M\">\n    <widget number=\"2\"/>\n"
         "  </moduleType>\n</moduleTypes>\n",
         "(4): <widget> needs the attribute type"},
        {"<moduleTypes>\n  <moduleType name=\"M\"/>\n  <moduleType name=\"M\"/>\n</moduleTypes>\n",
         "(4): module type \"M\" defined twice"},
        {"<moduleTypes>\n  text\n</moduleTypes>\n", "(3): expected <moduleType>"},
    };
    for (BadFile const& bad : cases)
    {
        std::string const file = m_dir.write("Bad.xml", xml(bad.m_text));
        testing::internal::CaptureStderr();
        EXPECT_FALSE(m_model.readModuleTypes(file)) << bad.m_text;
        EXPECT_EQ(file + bad.m_message + "\n", testing::internal::GetCapturedStderr()) << bad.m_text;
    }
    EXPECT_TRUE(m_model.hasModuleType("Keys"));
    EXPECT_FALSE(m_model.hasModuleType("M"));
}

TEST_F(DriverXml, InventoryEntriesAndTheirChecks)
{
    std::vector<InventoryEntry> entries;
    ASSERT_TRUE(m_model.readInventory(
        m_dir.write("Hardware.xml",
                    xml("<hardware>\n"
                        "  <module port=\"1\" connector=\"2\" workplace=\"7\" group=\"31\" number=\"255\" "
                        "type=\"Keys\" version=\"3\"/>\n"
                        "  <module port=\"0\" connector=\"0\" workplace=\"0\" group=\"0\" number=\"0\" "
                        "type=\"Mixer\"/>\n"
                        "</hardware>\n")),
        entries));
    ASSERT_EQ(2u, entries.size());
    EXPECT_EQ(1, entries[0].m_port);
    EXPECT_EQ(2, entries[0].m_connector);
    EXPECT_EQ(7, entries[0].m_workplace);
    EXPECT_EQ(31, entries[0].m_group);
    EXPECT_EQ(255, entries[0].m_module);
    EXPECT_EQ("Keys", entries[0].m_type);
    EXPECT_EQ("3", entries[0].m_version);
    EXPECT_EQ(3, entries[0].m_line);
    EXPECT_EQ("Mixer", entries[1].m_type);
    EXPECT_EQ("", entries[1].m_version);

    BadFile const cases[] = {
        {"<hardware>\n  <module port=\"1\" connector=\"1\" workplace=\"8\" group=\"1\" number=\"1\" "
         "type=\"Keys\"/>\n"
         "</hardware>\n",
         "(3): attribute workplace=\"8\" must be a number from 0 to 7"},
        {"<hardware>\n  <module port=\"1\" connector=\"1\" workplace=\"0\" group=\"32\" number=\"1\" "
         "type=\"Keys\"/>\n"
         "</hardware>\n",
         "(3): attribute group=\"32\" must be a number from 0 to 31"},
        {"<hardware>\n  <module port=\"1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"256\" "
         "type=\"Keys\"/>\n</hardware>\n",
         "(3): attribute number=\"256\" must be a number from 0 to 255"},
        {"<hardware>\n  <module port=\"-1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"1\" "
         "type=\"Keys\"/>\n"
         "</hardware>\n",
         "(3): attribute port=\"-1\" must be a number from 0 to 65535"},
        {"<hardware>\n  <module connector=\"1\" workplace=\"0\" group=\"1\" number=\"1\" type=\"Keys\"/>\n"
         "</hardware>\n",
         "(3): <module> needs the attribute port"},
        {"<hardware>\n  <module port=\"1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"1\" "
         "type=\"Desk\"/>\n"
         "</hardware>\n",
         "(3): unknown module type \"Desk\""},
        {"<hardware>\n  <module port=\"1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"1\" "
         "type=\"Keys\"/>\n"
         "  <module port=\"1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"2\" type=\"Keys\"/>\n"
         "</hardware>\n",
         "(4): port 1 connector 1 used twice"},
        {"<hardware>\n  <module port=\"1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"1\" "
         "type=\"Keys\"/>\n"
         "  <module port=\"2\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"1\" type=\"Mixer\"/>\n"
         "</hardware>\n",
         "(4): two modules at 0.1.1"},
    };
    for (BadFile const& bad : cases)
    {
        std::string const file = m_dir.write("Bad.xml", xml(bad.m_text));
        std::vector<InventoryEntry> kept = entries;
        testing::internal::CaptureStderr();
        EXPECT_FALSE(m_model.readInventory(file, kept)) << bad.m_text;
        EXPECT_EQ(file + bad.m_message + "\n", testing::internal::GetCapturedStderr()) << bad.m_text;
        EXPECT_EQ(2u, kept.size());
    }
}

TEST_F(DriverXml, MhlAnnouncesDeclaredWidgetsOfItsType)
{
    std::string type;
    std::vector<uint16_t> widgets;
    std::string const file =
        m_dir.write("Mixer.mhl", xml("<mhl moduleType=\"Mixer\">\n  <widget number=\"10\"/>\n  <widget "
                                     "number=\"3\"/>\n</mhl>\n"));
    ASSERT_TRUE(m_model.readMHL(file, "", type, widgets));
    EXPECT_EQ("Mixer", type);
    EXPECT_EQ((std::vector<uint16_t>{10, 3}), widgets);
    ASSERT_TRUE(m_model.readMHL(file, "Mixer", type, widgets));

    struct Case
    {
        char const* m_text;
        char const* m_expectedType;
        char const* m_message;
    };
    Case const cases[] = {
        {"<mhl moduleType=\"Mixer\">\n  <widget number=\"1\"/>\n</mhl>\n", "",
         "(3): module type \"Mixer\" has no widget 1"},
        {"<mhl moduleType=\"Mixer\">\n  <widget number=\"3\"/>\n  <widget number=\"3\"/>\n</mhl>\n", "",
         "(4): widget 3 announced twice"},
        {"<mhl moduleType=\"Mixer\">\n</mhl>\n", "Keys",
         "(2): describes module type \"Mixer\", the module is a \"Keys\""},
        {"<mhl moduleType=\"Desk\">\n</mhl>\n", "", "(2): unknown module type \"Desk\""},
        {"<mhl>\n</mhl>\n", "", "(2): <mhl> needs the attribute moduleType"},
        {"<module moduleType=\"Keys\"/>\n", "", "(2): root element must be <mhl>"},
    };
    for (Case const& bad : cases)
    {
        std::string const badFile = m_dir.write("Bad.mhl", xml(bad.m_text));
        std::vector<uint16_t> kept = widgets;
        testing::internal::CaptureStderr();
        EXPECT_FALSE(m_model.readMHL(badFile, bad.m_expectedType, type, kept)) << bad.m_text;
        EXPECT_EQ(badFile + bad.m_message + "\n", testing::internal::GetCapturedStderr()) << bad.m_text;
        EXPECT_EQ(2u, kept.size());
    }
}
