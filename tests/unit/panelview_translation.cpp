// The panel view's translation between the simulator link and the page, its page hub and its end of
// the link. The layout comes from the demo panel's configuration.

#include "udppeer.h"

#include <linkendpoint.h>
#include <pagehub.h>
#include <panelmodel.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

using nlohmann::json;

namespace
{
class PanelViewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string const dir = PANELVIEW_DEMO_CONFIG "/";
        ASSERT_TRUE(m_catalogue.readWidgetTypes(dir + "WidgetTypes.xml"));
        ASSERT_TRUE(m_catalogue.readModuleTypes(dir + "ModuleTypes.xml"));
        ASSERT_TRUE(m_catalogue.readInventory(dir + "Hardware.xml", m_inventory));
    }

    hwsim::HwPanelModel m_catalogue;
    std::vector<hwsim::InventoryEntry> m_inventory;
};

// A page event in short: its kind, the control or module, and what the page needs of it.
std::string summary(json const& event)
{
    std::string const kind = event["event"];
    if (kind == "snapshot")
    {
        std::string text = "snapshot " + event["link"].get<std::string>();
        for (json const& module : event["modules"])
            text += " " + module["id"].get<std::string>();
        return text;
    }
    if (kind == "module")
    {
        json const& module = event["module"];
        std::string text = "module " + module["id"].get<std::string>() + " " + module["type"].get<std::string>();
        for (json const& widget : module["widgets"])
            text += " " + std::to_string(widget["number"].get<int>()) + ":" + widget["kind"].get<std::string>();
        return text;
    }
    if (kind == "widget")
        return "widget " + event["widget"]["id"].get<std::string>() + " " + event["widget"]["kind"].get<std::string>() +
               " " + event["widget"]["attributes"].dump();
    if (kind == "unplug")
        return "unplug " + event["id"].get<std::string>();
    if (kind == "link")
        return "link " + event["state"].get<std::string>();
    return kind + " " + event["id"].get<std::string>() + " " + event["name"].get<std::string>() + " " +
           event["value"].dump();
}

std::string apply(panelview::PanelModel& model, std::string const& line)
{
    std::vector<json> events;
    std::string error;
    if (!model.applyLine(line, events, error))
        return "error: " + error;
    std::string text;
    for (json const& event : events)
        text += (text.empty() ? "" : " | ") + summary(event);
    return text;
}
} // namespace

TEST_F(PanelViewTest, LinkLinesBecomePageEvents)
{
    struct Case
    {
        char const* m_line;
        char const* m_events; // summaries joined by " | "; empty: nothing to show
    };
    std::vector<Case> const cases = {
        {"HELLO 1", "snapshot waiting"},
        {"MODULE 0.1.1 LampRow4 1", "module 0.1.1 LampRow4 1:lamp 2:lamp 3:lamp 4:lamp"},
        {"MODULE 0.1.1 LampRow4 1", ""},
        {"WIDGET 0.1.1.1", ""},
        {"BOOL 0.1.1.1 LAMP 1", "attribute 0.1.1.1 LAMP true"},
        {"TEXT 0.1.1.1 LABEL \"CAM 1\"", "attribute 0.1.1.1 LABEL \"CAM 1\""},
        {"NUM 0.1.1.1 COLOR -3", "attribute 0.1.1.1 COLOR -3"},
        {"DEFAULT 0.1.1.1", "widget 0.1.1.1 lamp {\"COLOR\":0,\"LABEL\":\"\",\"LAMP\":false}"},
        {"MODULE 0.1.3 Fader1 \"\"", "module 0.1.3 Fader1 1:fader 2:lamp"},
        {"MODULE 0.1.2 Display2 \"\"", "module 0.1.2 Display2 1:display 2:display"},
        {"TRIGGER 0.1.2.1 BLINK \"on off\"", "trigger 0.1.2.1 BLINK \"on off\""},
        // Controls and modules the configuration does not describe are drawn from what the link says.
        {"WIDGET 0.1.1.9", "widget 0.1.1.9 box {}"},
        {"NUM 0.1.1.9 X 5", "attribute 0.1.1.9 X 5"},
        {"DEFAULT 0.1.1.9", "widget 0.1.1.9 box {}"},
        {"MODULE 0.2.5 Mystery 3", "module 0.2.5 Mystery"},
        {"TEXT 0.2.5.4 NAME x", "widget 0.2.5.4 box {} | attribute 0.2.5.4 NAME \"x\""},
        {"BOOL 0.3.0.1 LAMP 1", "module 0.3.0  1:box | attribute 0.3.0.1 LAMP true"},
        {"MODULE 0.1.3 LampRow4 1", "module 0.1.3 LampRow4 1:lamp 2:lamp 3:lamp 4:lamp"},
        {"UNPLUG 0.1.1", "unplug 0.1.1"},
        {"UNPLUG 0.1.1", ""},
        {"ALIVE", ""},
        {"LATER 1 2 3", ""},
        // Malformed lines change nothing.
        {"BOOL 0.1.2.1 LAMP 2", "error: bad bool \"2\""},
        {"NUM 0.1.2.1 BRIGHTNESS 1.5", "error: bad number \"1.5\""},
        {"TEXT 0.1.2.1 TEXT", "error: TEXT needs 3 field(s)"},
        {"WIDGET 0.1.2.1 extra", "error: WIDGET needs 1 field(s)"},
        {"HELLO", "error: HELLO needs 1 field(s)"},
        {"MODULE 0.1 Display2 1", "error: bad module id \"0.1\""},
        {"UNPLUG 8.0.0", "error: bad module id \"8.0.0\""},
        {"DEFAULT 0.1.2.01", "error: bad widget id \"0.1.2.01\""},
        {"TEXT 0.1.2.1 TEXT \"open", "error: unterminated quote"},
        {"", "error: empty line"},
    };
    panelview::PanelModel model(m_catalogue, m_inventory);
    for (Case const& c : cases)
    {
        std::string const before = model.snapshot().dump();
        std::string const result = apply(model, c.m_line);
        EXPECT_EQ(c.m_events, result) << c.m_line;
        if (result.rfind("error: ", 0) == 0)
        {
            EXPECT_EQ(before, model.snapshot().dump()) << c.m_line;
        }
    }
    EXPECT_TRUE(model.hasWidget(UniqueWidgetID(0, 2, 5, 4)));
    EXPECT_FALSE(model.hasWidget(UniqueWidgetID(0, 1, 1, 1)));

    // A module in full: position, connection from the inventory, controls with their defaults.
    json const display = model.snapshot()["modules"][0];
    EXPECT_EQ(json::parse(R"({"id":"0.1.2","workplace":0,"group":1,"number":2,"type":"Display2","version":"",
        "reported":true,"known":true,"port":1,"connector":2,"widgets":[
        {"id":"0.1.2.1","number":1,"type":"Display","name":"Line1","kind":"display",
         "attributes":{"BRIGHTNESS":100,"TEXT":""}},
        {"id":"0.1.2.2","number":2,"type":"Display","name":"Line2","kind":"display",
         "attributes":{"BRIGHTNESS":100,"TEXT":""}}]})"),
              display);

    // The link's state reaches the page once per change; HELLO starts the panel afresh.
    std::vector<json> events;
    model.setLinkState(panelview::eLinkUp, events);
    model.setLinkState(panelview::eLinkUp, events);
    model.setLinkState(panelview::eLinkDown, events);
    ASSERT_EQ(2u, events.size());
    EXPECT_EQ("link up", summary(events[0]));
    EXPECT_EQ("link down", summary(events[1]));
    EXPECT_EQ("snapshot down", apply(model, "HELLO 1"));
    EXPECT_EQ(0u, model.getModuleCount());
}

TEST_F(PanelViewTest, PageRequestsBecomeEventLines)
{
    struct Case
    {
        char const* m_body;
        int m_status;
        char const* m_line; // the line for the core when the status is 200
    };
    std::vector<Case> const cases = {
        {R"({"widget":"0.1.1.2","action":"press"})", 200, "PRESS 0.1.1.2"},
        {R"({"action":"release","widget":"0.1.1.2"})", 200, "RELEASE 0.1.1.2"},
        {R"({"widget":"0.1.3.1","action":"move","value":75})", 200, "MOVE 0.1.3.1 75"},
        {R"({"widget":"0.1.3.1","action":"move","value":-2147483648})", 200, "MOVE 0.1.3.1 -2147483648"},
        {R"({"widget":"0.1.3.1","action":"move","value":2147483648})", 400, nullptr},
        {R"({"widget":"0.1.3.1","action":"move","value":18446744073709551615})", 400, nullptr},
        {R"({"widget":"0.1.3.1","action":"move","value":7.5})", 400, nullptr},
        {R"({"widget":"0.1.3.1","action":"move","value":"75"})", 400, nullptr},
        {R"({"widget":"0.1.3.1","action":"move"})", 400, nullptr},
        {R"({"widget":"0.1.1.2","action":"press","value":1})", 400, nullptr},
        {R"({"widget":"0.1.1.2","action":"PRESS"})", 400, nullptr},
        {R"({"widget":"0.1.1.2"})", 400, nullptr},
        {R"({"widget":"0.1.1","action":"press"})", 400, nullptr},
        {R"({"widget":"8.1.1.1","action":"press"})", 400, nullptr},
        {R"({"widget":16842754,"action":"press"})", 400, nullptr},
        {R"({"widget":"0.1.1.2","action":"press","also":1})", 400, nullptr},
        {R"({"widget":"0.1.1.2","action":"press")", 400, nullptr},
        {R"(["PRESS 0.1.1.2"])", 400, nullptr},
        {"PRESS 0.1.1.2", 400, nullptr},
        {"", 400, nullptr},
        {"{\"widget\":\"0.1.1.2\xff\",\"action\":\"press\"}", 400, nullptr},
        // Well formed, but the panel has no such control.
        {R"({"widget":"0.1.4.1","action":"press"})", 404, nullptr},
        {R"({"widget":"0.1.1.9","action":"press"})", 404, nullptr},
    };
    panelview::PanelModel model(m_catalogue, m_inventory);
    ASSERT_EQ("module 0.1.1 LampRow4 1:lamp 2:lamp 3:lamp 4:lamp", apply(model, "MODULE 0.1.1 LampRow4 1"));
    ASSERT_EQ("module 0.1.3 Fader1 1:fader 2:lamp", apply(model, "MODULE 0.1.3 Fader1 \"\""));
    for (Case const& c : cases)
    {
        std::string line;
        std::string error;
        int const status = panelview::translateRequest(c.m_body, model, line, error);
        EXPECT_EQ(c.m_status, status) << c.m_body;
        EXPECT_EQ(c.m_line != nullptr ? c.m_line : "", line) << c.m_body;
        EXPECT_EQ(status == 200, error.empty()) << c.m_body << ": " << error;
    }
}

// Every page sees the snapshot first, then the same events in the order they happened; a page that
// falls too far behind is dropped, and stop ends every wait.
TEST_F(PanelViewTest, PagesGetTheSnapshotThenEveryEvent)
{
    panelview::PageHub hub(m_catalogue, m_inventory);
    std::string error;
    ASSERT_TRUE(hub.applyLine("MODULE 0.1.2 Display2 \"\"", error));
    std::shared_ptr<panelview::PageHub::Page> const early = hub.connect(2);
    ASSERT_TRUE(hub.applyLine("TEXT 0.1.2.1 TEXT \"CAMERA 2\"", error));
    std::shared_ptr<panelview::PageHub::Page> const late = hub.connect(2);
    ASSERT_TRUE(early && late);
    EXPECT_EQ(nullptr, hub.connect(2));
    EXPECT_FALSE(hub.applyLine("TEXT 0.1.2.1", error));
    hub.setLinkState(panelview::eLinkDown);

    auto drain = [&hub](panelview::PageHub::Page& page) {
        std::vector<std::string> summaries;
        std::string event;
        while (hub.next(page, event, std::chrono::milliseconds(0)) && !event.empty())
            summaries.push_back(summary(json::parse(event)));
        return summaries;
    };
    EXPECT_EQ((std::vector<std::string>{"snapshot waiting 0.1.2", "attribute 0.1.2.1 TEXT \"CAMERA 2\"", "link down"}),
              drain(*early));
    std::vector<std::string> const lateEvents = drain(*late);
    ASSERT_EQ(2u, lateEvents.size());
    EXPECT_EQ("link down", lateEvents[1]);
    std::string event;
    ASSERT_TRUE(hub.next(*late, event, std::chrono::milliseconds(0)));
    EXPECT_TRUE(event.empty());
    EXPECT_EQ(1u, hub.getBadLineCount());

    // The late page's snapshot already shows the text.
    hub.disconnect(late);
    std::shared_ptr<panelview::PageHub::Page> const again = hub.connect(2);
    ASSERT_TRUE(again);
    ASSERT_TRUE(hub.next(*again, event, std::chrono::milliseconds(0)));
    EXPECT_EQ("CAMERA 2", json::parse(event)["modules"][0]["widgets"][0]["attributes"]["TEXT"]);

    // The early page reads nothing more, the other keeps up halfway: only the early one is dropped.
    size_t const half = panelview::PageHub::s_maxQueued / 2;
    for (size_t i = 0; i <= panelview::PageHub::s_maxQueued; ++i)
    {
        ASSERT_TRUE(hub.applyLine("NUM 0.1.2.1 BRIGHTNESS " + std::to_string(i % 100), error));
        if (i == half)
        {
            EXPECT_EQ(half + 1, drain(*again).size());
        }
    }
    EXPECT_FALSE(hub.next(*early, event, std::chrono::milliseconds(0)));
    ASSERT_TRUE(hub.next(*again, event, std::chrono::milliseconds(0)));
    EXPECT_EQ("attribute 0.1.2.1 BRIGHTNESS " + std::to_string((half + 1) % 100), summary(json::parse(event)));
    hub.stop();
    EXPECT_FALSE(hub.next(*again, event, std::chrono::seconds(5)));
    EXPECT_EQ(nullptr, hub.connect(5));
}

// The view's end of the link: it answers to the port the core's lines come from, asks a core it did
// not hear start for the whole panel, and notices silence.
TEST(PanelViewLink, NewCoresAreAskedForThePanelAndSilenceIsNoticed)
{
    std::mutex lock;
    std::condition_variable changed;
    std::vector<std::string> seen;
    auto record = [&](std::string const& text) {
        std::lock_guard<std::mutex> guard(lock);
        seen.push_back(text);
        changed.notify_all();
    };
    // Waits until text was seen; all seen so far.
    auto waitFor = [&](std::string const& text) {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait_for(guard, std::chrono::seconds(5),
                         [&] { return std::find(seen.begin(), seen.end(), text) != seen.end(); });
        return seen;
    };
    panelview::LinkEndpoint link(record, [&](panelview::ELinkState state) { record(panelview::linkStateName(state)); },
                                 1000);
    std::string error;
    ASSERT_TRUE(link.bind("127.0.0.1", 0, error)) << error;
    ASSERT_TRUE(link.start(error)) << error;
    EXPECT_FALSE(link.sendToCore("PRESS 0.1.1.1"));

    // A core heard first with another line than HELLO started before the view: it is asked for the panel.
    UdpPeer core;
    ASSERT_TRUE(core.sendTo(link.getPort(), "ALIVE"));
    EXPECT_EQ("SYNC", core.receive(3000, true));
    ASSERT_TRUE(link.sendToCore("PRESS 0.1.1.1"));
    EXPECT_EQ("PRESS 0.1.1.1", core.receive());

    // Silence makes the link down; the core heard again is asked once more.
    waitFor("down");
    ASSERT_TRUE(core.sendTo(link.getPort(), "BOOL 0.1.1.1 LAMP 1"));
    EXPECT_EQ("SYNC", core.receive());
    std::vector<std::string> const expected = {"up", "ALIVE", "down", "up", "BOOL 0.1.1.1 LAMP 1"};
    std::vector<std::string> got = waitFor(expected.back());
    got.resize(std::min(got.size(), expected.size()));
    EXPECT_EQ(expected, got);

    // A panel that restarts announces itself with HELLO from a new port: answers go there, unasked.
    UdpPeer restarted;
    ASSERT_TRUE(restarted.sendTo(link.getPort(), "HELLO 1"));
    waitFor("HELLO 1");
    ASSERT_TRUE(link.sendToCore("RELEASE 0.1.1.1"));
    EXPECT_EQ("RELEASE 0.1.1.1", restarted.receive());
    EXPECT_EQ(2u, link.getSyncCount());
    EXPECT_EQ(3u, link.getLineCount());
    link.stop();
}
