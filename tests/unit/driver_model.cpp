// The panel model: plugging, attribute writes and reads by kind, defaults, triggers and the hwShow lines.

#include "driver_testutil.h"
#include "hwpanelmodel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using drivertest::ScratchDir;
using hwsim::HwPanelModel;
using hwsim::PluggedModule;

namespace
{
class DriverModel : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_model.readWidgetTypes(m_dir.write("WidgetTypes.xml", drivertest::widgetTypesText())));
        ASSERT_TRUE(m_model.readModuleTypes(m_dir.write("ModuleTypes.xml", drivertest::moduleTypesText())));
        PluggedModule module;
        module.m_type = "Keys";
        module.m_port = 4;
        module.m_connector = 5;
        module.m_version = "2";
        ASSERT_TRUE(m_model.plug(m_module, module));
    }

    ScratchDir m_dir;
    HwPanelModel m_model;
    UniqueModuleID const m_module{1, 2, 3};
    UniqueWidgetID const m_key1{m_module, 1};
    UniqueWidgetID const m_key2{m_module, 2};
};
} // namespace

TEST(DriverValues, CanonicalFormsAndIntegers)
{
    std::string text;
    EXPECT_TRUE(hwsim::canonicalValue(IPanelFeedback::eParamTypeBool, "1", text));
    EXPECT_EQ("true", text);
    EXPECT_TRUE(hwsim::canonicalValue(IPanelFeedback::eParamTypeBool, "false", text));
    EXPECT_EQ("false", text);
    EXPECT_FALSE(hwsim::canonicalValue(IPanelFeedback::eParamTypeBool, "TRUE", text));
    EXPECT_TRUE(hwsim::canonicalValue(IPanelFeedback::eParamTypeNumeric, "+042", text));
    EXPECT_EQ("42", text);
    EXPECT_FALSE(hwsim::canonicalValue(IPanelFeedback::eParamTypeNumeric, "4x", text));
    EXPECT_TRUE(hwsim::canonicalValue(IPanelFeedback::eParamTypeText2, " a b ", text));
    EXPECT_EQ(" a b ", text);
    EXPECT_FALSE(hwsim::canonicalValue(IPanelFeedback::eParamTypeUnknown, "1", text));

    int value = 0;
    EXPECT_TRUE(hwsim::parseInt("-2147483648", value));
    EXPECT_EQ(-2147483647 - 1, value);
    EXPECT_TRUE(hwsim::parseInt("2147483647", value));
    EXPECT_EQ(2147483647, value);
    EXPECT_FALSE(hwsim::parseInt("2147483648", value));
    EXPECT_FALSE(hwsim::parseInt("", value));
    EXPECT_FALSE(hwsim::parseInt("1 ", value));
    EXPECT_FALSE(hwsim::parseInt("0x10", value));
    EXPECT_EQ(hwsim::parseParamType("text2"), IPanelFeedback::eParamTypeUnknown);
}

TEST_F(DriverModel, PlugGivesDefaultsAndTheModuleList)
{
    PluggedModule plugged;
    ASSERT_TRUE(m_model.getPlugged(m_module, plugged));
    EXPECT_EQ("Keys", plugged.m_type);
    EXPECT_EQ(4, plugged.m_port);
    EXPECT_EQ(5, plugged.m_connector);
    EXPECT_EQ("2", plugged.m_version);
    EXPECT_TRUE(m_model.hasWidget(m_key2));
    EXPECT_FALSE(m_model.hasWidget(UniqueWidgetID(m_module, 3)));
    EXPECT_FALSE(m_model.hasWidget(UniqueWidgetID(UniqueModuleID(1, 2, 4), 1)));
    EXPECT_TRUE(m_model.hasRecord(m_key2));
    EXPECT_FALSE(m_model.hasRecord(UniqueWidgetID(m_module, 3)));

    PluggedModule other;
    other.m_type = "Mixer";
    ASSERT_TRUE(m_model.plug(UniqueModuleID(0, 0, 9), other));
    other.m_type = "Nothing";
    EXPECT_FALSE(m_model.plug(UniqueModuleID(0, 0, 10), other));
    auto const modules = m_model.getPluggedModules();
    ASSERT_EQ(2u, modules.size());
    // Ordered by position.
    EXPECT_EQ(UniqueModuleID(0, 0, 9), modules[0].first);
    EXPECT_EQ(m_module, modules[1].first);

    std::string text;
    ASSERT_TRUE(m_model.getAttribute(m_key2, "LAMP", IPanelFeedback::eParamTypeBool, text));
    EXPECT_EQ("true", text);
    ASSERT_TRUE(m_model.getAttribute(m_key2, "COLOR", IPanelFeedback::eParamTypeNumeric, text));
    EXPECT_EQ("-7", text);
}

TEST_F(DriverModel, WritesAreKeptPerWidgetAndCheckedByKind)
{
    EXPECT_TRUE(m_model.setAttribute(m_key1, "COLOR", IPanelFeedback::eParamTypeNumeric, "12"));
    EXPECT_TRUE(m_model.setAttribute(m_key1, "LABEL", IPanelFeedback::eParamTypeText, "PGM"));
    EXPECT_TRUE(m_model.setAttribute(m_key1, "LAMP", IPanelFeedback::eParamTypeBool, "false"));
    // The second text kind writes text attributes too.
    EXPECT_TRUE(m_model.setAttribute(m_key2, "LABEL", IPanelFeedback::eParamTypeText2, "PVW"));

    // Wrong kind, bad value, unknown attribute or widget: refused, nothing changes.
    EXPECT_FALSE(m_model.setAttribute(m_key1, "COLOR", IPanelFeedback::eParamTypeText, "13"));
    EXPECT_FALSE(m_model.setAttribute(m_key1, "LAMP", IPanelFeedback::eParamTypeNumeric, "1"));
    EXPECT_FALSE(m_model.setAttribute(m_key1, "COLOR", IPanelFeedback::eParamTypeNumeric, "x"));
    EXPECT_FALSE(m_model.setAttribute(m_key1, "SIZE", IPanelFeedback::eParamTypeNumeric, "1"));
    EXPECT_FALSE(
        m_model.setAttribute(UniqueWidgetID(m_module, 9), "COLOR", IPanelFeedback::eParamTypeNumeric, "1"));

    std::string text;
    EXPECT_FALSE(m_model.getAttribute(m_key1, "COLOR", IPanelFeedback::eParamTypeBool, text));
    std::vector<std::string> const expected = {"1.2.3.1 COLOR=12", "1.2.3.1 LABEL=PGM", "1.2.3.1 LAMP=false",
                                               "1.2.3.2 COLOR=-7", "1.2.3.2 LABEL=PVW", "1.2.3.2 LAMP=true"};
    EXPECT_EQ(expected, m_model.show(m_module, 0));
    std::vector<std::string> const second = {"1.2.3.2 COLOR=-7", "1.2.3.2 LABEL=PVW", "1.2.3.2 LAMP=true"};
    EXPECT_EQ(second, m_model.show(m_module, 2));
    EXPECT_TRUE(m_model.show(m_module, 3).empty());
}

TEST_F(DriverModel, DefaultsTriggersAndUnplug)
{
    ASSERT_TRUE(m_model.setAttribute(m_key1, "COLOR", IPanelFeedback::eParamTypeNumeric, "5"));
    EXPECT_TRUE(m_model.trigger(m_key1, "FLASH", "3"));
    EXPECT_FALSE(m_model.trigger(m_key1, "LAMP", "1"));
    EXPECT_FALSE(m_model.trigger(m_key1, "BLINK", "1"));
    std::vector<std::string> const triggered = {"1.2.3.1 COLOR=5", "1.2.3.1 FLASH=3", "1.2.3.1 LABEL=CAM 1",
                                                "1.2.3.1 LAMP=true"};
    EXPECT_EQ(triggered, m_model.show(m_module, 1));

    // Back to the type's defaults; the trigger is forgotten, the other widget untouched.
    ASSERT_TRUE(m_model.setAttribute(m_key2, "LABEL", IPanelFeedback::eParamTypeText, "KEEP"));
    EXPECT_TRUE(m_model.setDefaults(m_key1));
    std::vector<std::string> const defaults = {"1.2.3.1 COLOR=-7", "1.2.3.1 LABEL=CAM 1",
                                               "1.2.3.1 LAMP=true"};
    EXPECT_EQ(defaults, m_model.show(m_module, 1));
    std::string text;
    ASSERT_TRUE(m_model.getAttribute(m_key2, "LABEL", IPanelFeedback::eParamTypeText, text));
    EXPECT_EQ("KEEP", text);
    EXPECT_FALSE(m_model.setDefaults(UniqueWidgetID(m_module, 7)));

    // Plugging again starts from the defaults; unplugging drops every record of the module.
    PluggedModule module;
    module.m_type = "Keys";
    ASSERT_TRUE(m_model.plug(m_module, module));
    ASSERT_TRUE(m_model.getAttribute(m_key2, "LABEL", IPanelFeedback::eParamTypeText, text));
    EXPECT_EQ("CAM 1", text);
    EXPECT_TRUE(m_model.unplug(m_module));
    EXPECT_FALSE(m_model.unplug(m_module));
    EXPECT_FALSE(m_model.isPlugged(m_module));
    EXPECT_FALSE(m_model.hasRecords(m_module));
    EXPECT_FALSE(m_model.getAttribute(m_key2, "LABEL", IPanelFeedback::eParamTypeText, text));
    EXPECT_EQ(IPanelFeedback::eParamTypeUnknown, m_model.getAttributeType(m_key2, "LABEL"));
}

TEST_F(DriverModel, AnnouncedWidgetsGetRecordsWithoutLosingValues)
{
    ASSERT_TRUE(m_model.setAttribute(m_key1, "COLOR", IPanelFeedback::eParamTypeNumeric, "8"));
    // An MHL for the plugged module keeps what was written.
    EXPECT_TRUE(m_model.ensureWidgets(m_module, "Keys", {1, 2}));
    std::string text;
    ASSERT_TRUE(m_model.getAttribute(m_key1, "COLOR", IPanelFeedback::eParamTypeNumeric, text));
    EXPECT_EQ("8", text);

    // A module announced without hardware gets records only for the widgets announced.
    UniqueModuleID const loose(2, 0, 1);
    EXPECT_FALSE(m_model.ensureWidgets(loose, "Desk", {1}));
    EXPECT_TRUE(m_model.ensureWidgets(loose, "Mixer", {3}));
    EXPECT_TRUE(m_model.hasRecords(loose));
    EXPECT_FALSE(m_model.isPlugged(loose));
    std::vector<std::string> const expected = {"2.0.1.3 MOTOR=false", "2.0.1.3 NAME=", "2.0.1.3 POSITION=0"};
    EXPECT_EQ(expected, m_model.show(loose, 0));
    EXPECT_TRUE(
        m_model.setAttribute(UniqueWidgetID(loose, 3), "POSITION", IPanelFeedback::eParamTypeNumeric, "9"));
    EXPECT_FALSE(
        m_model.setAttribute(UniqueWidgetID(loose, 10), "LAMP", IPanelFeedback::eParamTypeBool, "1"));
}

TEST_F(DriverModel, ShellAndPdlThreadsShareTheModel)
{
    // The shell plugs and unplugs while the PDL side writes and reads: every operation locks the model,
    // so this neither crashes nor corrupts it (the sanitizer build watches the memory).
    std::atomic<bool> done(false);
    std::thread writer(
        [&]()
        {
            int i = 0;
            std::string text;
            while (!done.load())
            {
                m_model.setAttribute(m_key1, "COLOR", IPanelFeedback::eParamTypeNumeric, std::to_string(i++));
                m_model.getAttribute(m_key2, "LABEL", IPanelFeedback::eParamTypeText, text);
                m_model.trigger(m_key1, "FLASH", "1");
                m_model.show(m_module, 0);
            }
        });
    PluggedModule module;
    module.m_type = "Keys";
    for (int i = 0; i < 10000; ++i)
    {
        m_model.unplug(m_module);
        m_model.plug(m_module, module);
        m_model.plug(UniqueModuleID(0, 0, static_cast<uint16_t>(i % 200)), module);
    }
    done = true;
    writer.join();
    EXPECT_TRUE(m_model.isPlugged(m_module));
    EXPECT_EQ(201u, m_model.getPluggedModules().size());
    std::string text;
    ASSERT_TRUE(m_model.getAttribute(m_key2, "LABEL", IPanelFeedback::eParamTypeText, text));
    EXPECT_EQ("CAM 1", text);
}
