#ifndef PANELVIEW_PANELMODEL_H
#define PANELVIEW_PANELMODEL_H

// The panel as the simulator link describes it, laid out with the panel's configuration tree, and
// the translation between the link and the page: each line from the core becomes the page events
// that show its effect, and each request of the page becomes the event line for the core.
//
// Page events are JSON objects with an "event" field:
//   {"event":"snapshot","link":STATE,"modules":[MODULE...]}   the whole panel (first, and after HELLO)
//   {"event":"module","module":MODULE}                        a module appeared or changed type
//   {"event":"unplug","id":"w.g.m"}                           a module has gone
//   {"event":"widget","widget":WIDGET}                        a control appeared or went back to defaults
//   {"event":"attribute","id":"w.g.m.n","name":N,"value":V}   an attribute was written
//   {"event":"trigger","id":"w.g.m.n","name":N,"value":TEXT}  an event was triggered on a control
//   {"event":"link","state":"waiting"|"up"|"down"}            the link to the core
// MODULE: {"id","workplace","group","number","type","version","reported","known","port","connector",
//          "widgets":[WIDGET...]}; WIDGET: {"id","number","type","name","kind","attributes":{N:V}}.
// A control's kind says how the page draws it: "lamp", "display", "fader" or "box".

#include <basekit/uniqueids.h>

#include <hwpanelmodel.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace panelview
{
// How the page draws a control, chosen from its widget type's attributes: a bool LAMP makes a lamp
// button, else a text TEXT a display line, else a numeric POSITION a fader; anything else, and a control
// of a type the configuration does not describe, is a box listing its attribute values.
enum EWidgetKind
{
    eKindLamp,
    eKindDisplay,
    eKindFader,
    eKindBox
};

char const* kindName(EWidgetKind kind);

enum ELinkState
{
    eLinkWaiting, // no line from a core yet
    eLinkUp,
    eLinkDown // the core has been silent for too long
};

char const* linkStateName(ELinkState state);

class PanelModel
{
public:
    // The catalogue holds the widget and module types of the configuration (possibly none); the
    // inventory tells where modules are connected.
    PanelModel(hwsim::HwPanelModel const& catalogue, std::vector<hwsim::InventoryEntry> const& inventory);

    // Applies one line from the core and appends the page events it causes. A line with a verb the
    // view does not know changes nothing and is no fault. False, with the reason, for a line that is
    // malformed; nothing changes then.
    bool applyLine(std::string const& line, std::vector<nlohmann::json>& events, std::string& error);
    // A change of the link's state, as a page event (none when it is the same state).
    void setLinkState(ELinkState state, std::vector<nlohmann::json>& events);
    ELinkState getLinkState() const { return m_linkState; }

    // The whole panel as one snapshot event.
    nlohmann::json snapshot() const;
    bool hasWidget(UniqueWidgetID const& id) const;
    size_t getModuleCount() const { return m_modules.size(); }

private:
    struct Widget
    {
        std::string m_type;
        std::string m_name;
        EWidgetKind m_kind = eKindBox;
        nlohmann::json m_attributes = nlohmann::json::object();
    };
    struct Module
    {
        std::string m_type;
        std::string m_version;
        bool m_reported = false; // a MODULE line named it; else only its controls were heard of
        bool m_known = false;    // the configuration describes its type
        std::map<uint16_t, Widget> m_widgets;
    };

    // The control as its widget type draws it, with the type's defaults.
    Widget makeWidget(std::string const& type, std::string const& name) const;
    // The control's entry, made (as a box, in a module made for it if need be) when the link names a
    // control the view has not seen; tells which page event announces it.
    Widget& findOrAddWidget(UniqueWidgetID const& id, std::vector<nlohmann::json>& events);
    nlohmann::json moduleJson(UniqueModuleID const& id, Module const& module) const;
    nlohmann::json widgetJson(UniqueWidgetID const& id, Widget const& widget) const;

    hwsim::HwPanelModel const& m_catalogue;
    std::map<UniqueModuleID, std::pair<int, int>> m_connections; // port and connector by position
    std::map<UniqueModuleID, Module> m_modules;
    ELinkState m_linkState = eLinkWaiting;
};

// Status codes of a page request.
int const s_requestOk = 200;
int const s_requestBad = 400;
int const s_requestUnknownWidget = 404;

// Turns a request of the page into the event line for the core. The body is a JSON object:
//   {"widget":"w.g.m.n","action":"press"}   PRESS     {"widget":...,"action":"release"}  RELEASE
//   {"widget":...,"action":"move","value":INT}   MOVE with that value
// s_requestBad for anything else (not JSON, other fields or types, a bad id or value), and
// s_requestUnknownWidget for a control the panel does not have; error says why.
int translateRequest(std::string const& body, PanelModel const& model, std::string& line, std::string& error);
} // namespace panelview

#endif
