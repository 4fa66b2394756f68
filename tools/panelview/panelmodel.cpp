#include "panelmodel.h"

#include <simlink/simline.h>

#include <climits>

namespace panelview
{
namespace
{
using json = nlohmann::json;

// A catalogue default (canonical text) as the JSON value of its type.
json defaultValue(hwsim::WidgetParameter const& parameter)
{
    switch (parameter.m_type)
    {
    case IPanelFeedback::eParamTypeBool:
        return parameter.m_default == "true";
    case IPanelFeedback::eParamTypeNumeric:
    {
        int value = 0;
        return hwsim::parseInt(parameter.m_default, value) ? json(value) : json(0);
    }
    default:
        return parameter.m_default;
    }
}

bool hasAttribute(hwsim::WidgetType const& type, char const* pName, IPanelFeedback::EWidgetParameterType kind)
{
    auto const found = type.m_attributes.find(pName);
    return found != type.m_attributes.end() && found->second.m_type == kind;
}

// The fields a line of this verb has after the verb; -1 for a verb the view does not know.
int fieldCount(std::string const& verb)
{
    static std::map<std::string, int> const s_counts = {
        {simlink::s_verbHello, 1},  {simlink::s_verbAlive, 0},   {simlink::s_verbBool, 3},
        {simlink::s_verbNumeric, 3}, {simlink::s_verbText, 3},   {simlink::s_verbTrigger, 3},
        {simlink::s_verbDefault, 1}, {simlink::s_verbWidget, 1}, {simlink::s_verbModule, 3},
        {simlink::s_verbUnplug, 1},
    };
    auto const found = s_counts.find(verb);
    return found != s_counts.end() ? found->second : -1;
}
} // namespace

char const* kindName(EWidgetKind kind)
{
    switch (kind)
    {
    case eKindLamp:
        return "lamp";
    case eKindDisplay:
        return "display";
    case eKindFader:
        return "fader";
    default:
        return "box";
    }
}

char const* linkStateName(ELinkState state)
{
    switch (state)
    {
    case eLinkUp:
        return "up";
    case eLinkDown:
        return "down";
    default:
        return "waiting";
    }
}

PanelModel::PanelModel(hwsim::HwPanelModel const& catalogue, std::vector<hwsim::InventoryEntry> const& inventory)
    : m_catalogue(catalogue)
{
    for (hwsim::InventoryEntry const& entry : inventory)
    {
        UniqueModuleID const id(static_cast<uint16_t>(entry.m_workplace), static_cast<uint16_t>(entry.m_group),
                                static_cast<uint16_t>(entry.m_module));
        m_connections[id] = std::make_pair(entry.m_port, entry.m_connector);
    }
}

PanelModel::Widget PanelModel::makeWidget(std::string const& type, std::string const& name) const
{
    Widget widget;
    widget.m_type = type;
    widget.m_name = name;
    hwsim::WidgetType description;
    if (type.empty() || !m_catalogue.findWidgetType(type, description))
        return widget;
    for (auto const& attribute : description.m_attributes)
        widget.m_attributes[attribute.first] = defaultValue(attribute.second);
    if (hasAttribute(description, "LAMP", IPanelFeedback::eParamTypeBool))
        widget.m_kind = eKindLamp;
    else if (hasAttribute(description, "TEXT", IPanelFeedback::eParamTypeText))
        widget.m_kind = eKindDisplay;
    else if (hasAttribute(description, "POSITION", IPanelFeedback::eParamTypeNumeric))
        widget.m_kind = eKindFader;
    return widget;
}

PanelModel::Widget& PanelModel::findOrAddWidget(UniqueWidgetID const& id, std::vector<json>& events)
{
    UniqueModuleID const moduleID = id.getUniqueModuleID();
    bool const newModule = m_modules.count(moduleID) == 0;
    Module& module = m_modules[moduleID];
    auto found = module.m_widgets.find(id.getWidgetID());
    if (found != module.m_widgets.end())
        return found->second;
    Widget& widget = module.m_widgets[id.getWidgetID()];
    if (newModule)
        events.push_back({{"event", "module"}, {"module", moduleJson(moduleID, module)}});
    else
        events.push_back({{"event", "widget"}, {"widget", widgetJson(id, widget)}});
    return widget;
}

bool PanelModel::applyLine(std::string const& line, std::vector<json>& events, std::string& error)
{
    std::vector<std::string> fields;
    if (!simlink::splitLine(line, fields, error))
        return false;
    std::string const& verb = fields[0];
    int const count = fieldCount(verb);
    if (count < 0)
        return true; // a verb of a later link: nothing to show
    if (static_cast<int>(fields.size()) != count + 1)
    {
        error = verb + " needs " + std::to_string(count) + " field(s)";
        return false;
    }
    if (verb == simlink::s_verbAlive)
        return true;
    if (verb == simlink::s_verbHello)
    {
        // The link (re)started, or a SYNC answer begins: what follows is the whole panel.
        m_modules.clear();
        events.push_back(snapshot());
        return true;
    }
    if (verb == simlink::s_verbModule || verb == simlink::s_verbUnplug)
    {
        UniqueModuleID id;
        if (!simlink::parseModuleID(fields[1], id))
        {
            error = "bad module id \"" + fields[1] + "\"";
            return false;
        }
        if (verb == simlink::s_verbUnplug)
        {
            if (m_modules.erase(id) != 0)
                events.push_back({{"event", "unplug"}, {"id", id.toString()}});
            return true;
        }
        auto const existing = m_modules.find(id);
        if (existing != m_modules.end() && existing->second.m_reported && existing->second.m_type == fields[2] &&
            existing->second.m_version == fields[3])
            return true;
        Module module;
        module.m_type = fields[2];
        module.m_version = fields[3];
        module.m_reported = true;
        hwsim::ModuleType description;
        module.m_known = m_catalogue.findModuleType(module.m_type, description);
        for (auto const& widget : description.m_widgets)
            module.m_widgets[widget.first] = makeWidget(widget.second.m_type, widget.second.m_name);
        Module& stored = m_modules[id] = module;
        events.push_back({{"event", "module"}, {"module", moduleJson(id, stored)}});
        return true;
    }

    UniqueWidgetID id;
    if (!simlink::parseWidgetID(fields[1], id))
    {
        error = "bad widget id \"" + fields[1] + "\"";
        return false;
    }
    json value;
    if (verb == simlink::s_verbBool)
    {
        if (fields[3] != "0" && fields[3] != "1")
        {
            error = "bad bool \"" + fields[3] + "\"";
            return false;
        }
        value = fields[3] == "1";
    }
    else if (verb == simlink::s_verbNumeric)
    {
        int number = 0;
        if (!simlink::parseInt(fields[3], number))
        {
            error = "bad number \"" + fields[3] + "\"";
            return false;
        }
        value = number;
    }
    else if (verb == simlink::s_verbText || verb == simlink::s_verbTrigger)
    {
        value = fields[3];
    }

    Widget& widget = findOrAddWidget(id, events);
    if (verb == simlink::s_verbWidget)
        return true;
    if (verb == simlink::s_verbDefault)
    {
        Widget const reset = makeWidget(widget.m_type, widget.m_name);
        // A control the configuration does not describe has no defaults: its values are forgotten.
        widget.m_attributes = reset.m_attributes;
        events.push_back({{"event", "widget"}, {"widget", widgetJson(id, widget)}});
        return true;
    }
    if (verb == simlink::s_verbTrigger)
    {
        events.push_back({{"event", "trigger"}, {"id", id.toString()}, {"name", fields[2]}, {"value", value}});
        return true;
    }
    widget.m_attributes[fields[2]] = value;
    events.push_back({{"event", "attribute"}, {"id", id.toString()}, {"name", fields[2]}, {"value", value}});
    return true;
}

void PanelModel::setLinkState(ELinkState state, std::vector<json>& events)
{
    if (state == m_linkState)
        return;
    m_linkState = state;
    events.push_back({{"event", "link"}, {"state", linkStateName(state)}});
}

json PanelModel::snapshot() const
{
    json modules = json::array();
    for (auto const& module : m_modules)
        modules.push_back(moduleJson(module.first, module.second));
    return {{"event", "snapshot"}, {"link", linkStateName(m_linkState)}, {"modules", modules}};
}

bool PanelModel::hasWidget(UniqueWidgetID const& id) const
{
    auto const module = m_modules.find(id.getUniqueModuleID());
    return module != m_modules.end() && module->second.m_widgets.count(id.getWidgetID()) != 0;
}

json PanelModel::moduleJson(UniqueModuleID const& id, Module const& module) const
{
    json widgets = json::array();
    for (auto const& widget : module.m_widgets)
        widgets.push_back(widgetJson(UniqueWidgetID(id, widget.first), widget.second));
    auto const connection = m_connections.find(id);
    return {{"id", id.toString()},
            {"workplace", id.getWorkplaceID()},
            {"group", id.getGroupID()},
            {"number", id.getModuleID()},
            {"type", module.m_type},
            {"version", module.m_version},
            {"reported", module.m_reported},
            {"known", module.m_known},
            {"port", connection != m_connections.end() ? json(connection->second.first) : json()},
            {"connector", connection != m_connections.end() ? json(connection->second.second) : json()},
            {"widgets", widgets}};
}

json PanelModel::widgetJson(UniqueWidgetID const& id, Widget const& widget) const
{
    return {{"id", id.toString()},
            {"number", id.getWidgetID()},
            {"type", widget.m_type},
            {"name", widget.m_name},
            {"kind", kindName(widget.m_kind)},
            {"attributes", widget.m_attributes}};
}

int translateRequest(std::string const& body, PanelModel const& model, std::string& line, std::string& error)
{
    json const request = json::parse(body, nullptr, false);
    if (request.is_discarded() || !request.is_object())
    {
        error = "the request is not a JSON object";
        return s_requestBad;
    }
    for (auto const& field : request.items())
    {
        if (field.key() != "widget" && field.key() != "action" && field.key() != "value")
        {
            error = "unknown field \"" + field.key() + "\"";
            return s_requestBad;
        }
    }
    auto const widget = request.find("widget");
    auto const action = request.find("action");
    auto const value = request.find("value");
    UniqueWidgetID id;
    if (widget == request.end() || !widget->is_string() || !simlink::parseWidgetID(widget->get<std::string>(), id))
    {
        error = "\"widget\" must be a control id w.g.m.n";
        return s_requestBad;
    }
    std::string const name = action != request.end() && action->is_string() ? action->get<std::string>() : "";
    std::vector<std::string> fields = {id.toString()};
    std::string verb;
    if (name == "press" || name == "release")
    {
        verb = name == "press" ? simlink::s_verbPress : simlink::s_verbRelease;
        if (value != request.end())
        {
            error = "\"" + name + "\" takes no value";
            return s_requestBad;
        }
    }
    else if (name == "move")
    {
        verb = simlink::s_verbMove;
        bool const fits = value != request.end() &&
                          (value->is_number_unsigned() ? value->get<uint64_t>() <= INT_MAX
                                                       : value->is_number_integer() && value->get<int64_t>() >= INT_MIN &&
                                                             value->get<int64_t>() <= INT_MAX);
        if (!fits)
        {
            error = "\"move\" needs a whole number \"value\" within the range of an int";
            return s_requestBad;
        }
        fields.push_back(std::to_string(value->get<int64_t>()));
    }
    else
    {
        error = "\"action\" must be press, release or move";
        return s_requestBad;
    }
    if (!model.hasWidget(id))
    {
        error = "the panel has no control " + id.toString();
        return s_requestUnknownWidget;
    }
    line = simlink::makeLine(verb, fields);
    return s_requestOk;
}
} // namespace panelview
