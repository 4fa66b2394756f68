#include "hwpanelmodel.h"

#include <tinyxml.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <iostream>
#include <set>
#include <sstream>

namespace hwsim
{
namespace
{
// Reports a fault of a file as "FILE(LINE): message" on standard error.
bool fail(std::string const& file, int line, std::string const& message)
{
    std::cerr << file << "(" << line << "): " << message << std::endl;
    return false;
}

// Loads the file and checks the root element's name; null (after a message) on failure.
TiXmlElement* loadRoot(TiXmlDocument& document, std::string const& file, char const* pRootName)
{
    if (!document.LoadFile(file.c_str()))
    {
        if (document.ErrorId() == TiXmlBase::TIXML_ERROR_OPENING_FILE)
        {
            std::cerr << file << ": cannot open the file" << std::endl;
        }
        else
        {
            fail(file, document.ErrorRow(), document.ErrorDesc());
        }
        return nullptr;
    }
    TiXmlElement* pRoot = document.RootElement();
    if (pRoot == nullptr || pRoot->ValueStr() != pRootName)
    {
        fail(file, pRoot != nullptr ? pRoot->Row() : 1,
             std::string("root element must be <") + pRootName + ">");
        return nullptr;
    }
    return pRoot;
}

// A required, non-empty attribute.
bool requireText(TiXmlElement const& element, char const* pName, std::string const& file, std::string& value)
{
    char const* pValue = element.Attribute(pName);
    if (pValue == nullptr || *pValue == '\0')
    {
        return fail(file, element.Row(), "<" + element.ValueStr() + "> needs the attribute " + pName);
    }
    value = pValue;
    return true;
}

// A required integer attribute within [low, high].
bool requireInt(TiXmlElement const& element, char const* pName, int low, int high, std::string const& file,
                int& value)
{
    std::string text;
    if (!requireText(element, pName, file, text))
    {
        return false;
    }
    if (!parseInt(text, value) || value < low || value > high)
    {
        std::ostringstream message;
        message << "attribute " << pName << "=\"" << text << "\" must be a number from " << low << " to "
                << high;
        return fail(file, element.Row(), message.str());
    }
    return true;
}

// Every child must be an element named childName (comments are allowed).
bool checkChild(TiXmlNode const& node, char const* pChildName, std::string const& file)
{
    if (node.Type() == TiXmlNode::TINYXML_COMMENT)
    {
        return true;
    }
    if (node.Type() != TiXmlNode::TINYXML_ELEMENT || node.ValueStr() != pChildName)
    {
        return fail(file, node.Row(), std::string("expected <") + pChildName + ">");
    }
    return true;
}
} // namespace

EParamType parseParamType(std::string const& text)
{
    if (text == "bool")
    {
        return IPanelFeedback::eParamTypeBool;
    }
    if (text == "text")
    {
        return IPanelFeedback::eParamTypeText;
    }
    if (text == "numeric")
    {
        return IPanelFeedback::eParamTypeNumeric;
    }
    return IPanelFeedback::eParamTypeUnknown;
}

bool parseInt(std::string const& text, int& value)
{
    if (text.empty() || text.find_first_of(" \t\n") != std::string::npos)
    {
        return false;
    }
    char* pEnd = nullptr;
    errno = 0;
    long const result = std::strtol(text.c_str(), &pEnd, 10);
    if (errno != 0 || *pEnd != '\0' || result < INT_MIN || result > INT_MAX)
    {
        return false;
    }
    value = static_cast<int>(result);
    return true;
}

bool canonicalValue(EParamType type, std::string const& value, std::string& canonical)
{
    switch (type)
    {
    case IPanelFeedback::eParamTypeBool:
        if (value == "true" || value == "1")
        {
            canonical = "true";
            return true;
        }
        if (value == "false" || value == "0")
        {
            canonical = "false";
            return true;
        }
        return false;
    case IPanelFeedback::eParamTypeNumeric:
    {
        int number = 0;
        if (!parseInt(value, number))
        {
            return false;
        }
        canonical = std::to_string(number);
        return true;
    }
    case IPanelFeedback::eParamTypeText:
    case IPanelFeedback::eParamTypeText2:
        canonical = value;
        return true;
    default:
        return false;
    }
}

bool HwPanelModel::readWidgetTypes(std::string const& file)
{
    TiXmlDocument document;
    TiXmlElement* pRoot = loadRoot(document, file, "widgetTypes");
    if (pRoot == nullptr)
    {
        return false;
    }
    std::map<std::string, WidgetType> types;
    for (TiXmlNode* pNode = pRoot->FirstChild(); pNode != nullptr; pNode = pNode->NextSibling())
    {
        if (!checkChild(*pNode, "widgetType", file))
        {
            return false;
        }
        TiXmlElement* pType = pNode->ToElement();
        if (pType == nullptr)
        {
            continue;
        }
        WidgetType type;
        if (!requireText(*pType, "name", file, type.m_name))
        {
            return false;
        }
        if (types.count(type.m_name) != 0)
        {
            return fail(file, pType->Row(), "widget type \"" + type.m_name + "\" defined twice");
        }
        for (TiXmlNode* pChild = pType->FirstChild(); pChild != nullptr; pChild = pChild->NextSibling())
        {
            if (pChild->Type() == TiXmlNode::TINYXML_COMMENT)
            {
                continue;
            }
            TiXmlElement* pParam = pChild->ToElement();
            bool const isAttribute = pParam != nullptr && pParam->ValueStr() == "attribute";
            bool const isEvent = pParam != nullptr && pParam->ValueStr() == "receiveEvent";
            if (!isAttribute && !isEvent)
            {
                return fail(file, pChild->Row(), "expected <attribute> or <receiveEvent>");
            }
            std::string name;
            std::string typeName;
            if (!requireText(*pParam, "name", file, name) || !requireText(*pParam, "type", file, typeName))
            {
                return false;
            }
            EParamType const paramType = parseParamType(typeName);
            if (paramType == IPanelFeedback::eParamTypeUnknown)
            {
                return fail(file, pParam->Row(),
                            "unknown parameter type \"" + typeName + "\" (bool, text or numeric)");
            }
            if (type.m_attributes.count(name) != 0 || type.m_receiveEvents.count(name) != 0)
            {
                return fail(file, pParam->Row(),
                            "\"" + name + "\" defined twice in widget type \"" + type.m_name + "\"");
            }
            if (isEvent)
            {
                type.m_receiveEvents[name] = paramType;
                continue;
            }
            WidgetParameter parameter;
            parameter.m_type = paramType;
            char const* pDefault = pParam->Attribute("default");
            std::string const defaultText = pDefault != nullptr
                                                ? pDefault
                                                : (paramType == IPanelFeedback::eParamTypeBool      ? "false"
                                                   : paramType == IPanelFeedback::eParamTypeNumeric ? "0"
                                                                                                    : "");
            if (!canonicalValue(paramType, defaultText, parameter.m_default))
            {
                return fail(file, pParam->Row(),
                            "default \"" + defaultText + "\" does not fit the type " + typeName);
            }
            type.m_attributes[name] = parameter;
        }
        types[type.m_name] = type;
    }
    std::lock_guard<std::mutex> guard(m_lock);
    m_widgetTypes.swap(types);
    return true;
}

bool HwPanelModel::readModuleTypes(std::string const& file)
{
    TiXmlDocument document;
    TiXmlElement* pRoot = loadRoot(document, file, "moduleTypes");
    if (pRoot == nullptr)
    {
        return false;
    }
    std::map<std::string, ModuleType> types;
    for (TiXmlNode* pNode = pRoot->FirstChild(); pNode != nullptr; pNode = pNode->NextSibling())
    {
        if (!checkChild(*pNode, "moduleType", file))
        {
            return false;
        }
        TiXmlElement* pType = pNode->ToElement();
        if (pType == nullptr)
        {
            continue;
        }
        ModuleType type;
        if (!requireText(*pType, "name", file, type.m_name))
        {
            return false;
        }
        if (types.count(type.m_name) != 0)
        {
            return fail(file, pType->Row(), "module type \"" + type.m_name + "\" defined twice");
        }
        for (TiXmlNode* pChild = pType->FirstChild(); pChild != nullptr; pChild = pChild->NextSibling())
        {
            if (!checkChild(*pChild, "widget", file))
            {
                return false;
            }
            TiXmlElement* pWidget = pChild->ToElement();
            if (pWidget == nullptr)
            {
                continue;
            }
            ModuleWidget widget;
            int number = 0;
            if (!requireInt(*pWidget, "number", 1, 65535, file, number) ||
                !requireText(*pWidget, "type", file, widget.m_type))
            {
                return false;
            }
            widget.m_number = static_cast<uint16_t>(number);
            char const* pName = pWidget->Attribute("name");
            widget.m_name = pName != nullptr ? pName : "";
            if (type.m_widgets.count(widget.m_number) != 0)
            {
                return fail(file, pWidget->Row(), "widget " + std::to_string(number) + " defined twice");
            }
            bool known = false;
            {
                std::lock_guard<std::mutex> guard(m_lock);
                known = m_widgetTypes.count(widget.m_type) != 0;
            }
            if (!known)
            {
                return fail(file, pWidget->Row(), "unknown widget type \"" + widget.m_type + "\"");
            }
            type.m_widgets[widget.m_number] = widget;
        }
        types[type.m_name] = type;
    }
    std::lock_guard<std::mutex> guard(m_lock);
    m_moduleTypes.swap(types);
    return true;
}

bool HwPanelModel::readInventory(std::string const& file, std::vector<InventoryEntry>& entries) const
{
    TiXmlDocument document;
    TiXmlElement* pRoot = loadRoot(document, file, "hardware");
    if (pRoot == nullptr)
    {
        return false;
    }
    std::vector<InventoryEntry> result;
    std::set<std::pair<int, int>> connections;
    std::set<int> positions;
    for (TiXmlNode* pNode = pRoot->FirstChild(); pNode != nullptr; pNode = pNode->NextSibling())
    {
        if (!checkChild(*pNode, "module", file))
        {
            return false;
        }
        TiXmlElement* pModule = pNode->ToElement();
        if (pModule == nullptr)
        {
            continue;
        }
        InventoryEntry entry;
        entry.m_line = pModule->Row();
        if (!requireInt(*pModule, "port", 0, 65535, file, entry.m_port) ||
            !requireInt(*pModule, "connector", 0, 65535, file, entry.m_connector) ||
            !requireInt(*pModule, "workplace", 0, 7, file, entry.m_workplace) ||
            !requireInt(*pModule, "group", 0, 31, file, entry.m_group) ||
            !requireInt(*pModule, "number", 0, 255, file, entry.m_module) ||
            !requireText(*pModule, "type", file, entry.m_type))
        {
            return false;
        }
        char const* pVersion = pModule->Attribute("version");
        entry.m_version = pVersion != nullptr ? pVersion : "";
        if (!hasModuleType(entry.m_type))
        {
            return fail(file, entry.m_line, "unknown module type \"" + entry.m_type + "\"");
        }
        if (!connections.insert(std::make_pair(entry.m_port, entry.m_connector)).second)
        {
            return fail(file, entry.m_line,
                        "port " + std::to_string(entry.m_port) + " connector " +
                            std::to_string(entry.m_connector) + " used twice");
        }
        int const position = (entry.m_workplace << 16) | (entry.m_group << 8) | entry.m_module;
        if (!positions.insert(position).second)
        {
            return fail(file, entry.m_line,
                        "two modules at " +
                            UniqueModuleID(entry.m_workplace, entry.m_group, entry.m_module).toString());
        }
        result.push_back(entry);
    }
    entries.swap(result);
    return true;
}

bool HwPanelModel::readMHL(std::string const& file, std::string const& expectedType, std::string& moduleType,
                           std::vector<uint16_t>& widgets) const
{
    TiXmlDocument document;
    TiXmlElement* pRoot = loadRoot(document, file, "mhl");
    if (pRoot == nullptr)
    {
        return false;
    }
    std::string type;
    if (!requireText(*pRoot, "moduleType", file, type))
    {
        return false;
    }
    if (!expectedType.empty() && type != expectedType)
    {
        return fail(file, pRoot->Row(),
                    "describes module type \"" + type + "\", the module is a \"" + expectedType + "\"");
    }
    std::set<uint16_t> declared;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        auto it = m_moduleTypes.find(type);
        if (it == m_moduleTypes.end())
        {
            return fail(file, pRoot->Row(), "unknown module type \"" + type + "\"");
        }
        for (auto const& widget : it->second.m_widgets)
        {
            declared.insert(widget.first);
        }
    }
    std::vector<uint16_t> result;
    std::set<uint16_t> seen;
    for (TiXmlNode* pNode = pRoot->FirstChild(); pNode != nullptr; pNode = pNode->NextSibling())
    {
        if (!checkChild(*pNode, "widget", file))
        {
            return false;
        }
        TiXmlElement* pWidget = pNode->ToElement();
        if (pWidget == nullptr)
        {
            continue;
        }
        int number = 0;
        if (!requireInt(*pWidget, "number", 1, 65535, file, number))
        {
            return false;
        }
        uint16_t const widget = static_cast<uint16_t>(number);
        if (declared.count(widget) == 0)
        {
            return fail(file, pWidget->Row(),
                        "module type \"" + type + "\" has no widget " + std::to_string(number));
        }
        if (!seen.insert(widget).second)
        {
            return fail(file, pWidget->Row(), "widget " + std::to_string(number) + " announced twice");
        }
        result.push_back(widget);
    }
    moduleType = type;
    widgets.swap(result);
    return true;
}

bool HwPanelModel::hasWidgetType(std::string const& name) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_widgetTypes.count(name) != 0;
}

bool HwPanelModel::hasModuleType(std::string const& name) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_moduleTypes.count(name) != 0;
}

size_t HwPanelModel::getWidgetTypeCount() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_widgetTypes.size();
}

size_t HwPanelModel::getModuleTypeCount() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_moduleTypes.size();
}

bool HwPanelModel::findWidgetType(std::string const& name, WidgetType& type) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto const found = m_widgetTypes.find(name);
    if (found == m_widgetTypes.end())
    {
        return false;
    }
    type = found->second;
    return true;
}

bool HwPanelModel::findModuleType(std::string const& name, ModuleType& type) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto const found = m_moduleTypes.find(name);
    if (found == m_moduleTypes.end())
    {
        return false;
    }
    type = found->second;
    return true;
}

void HwPanelModel::createRecordsLocked(UniqueModuleID const& id, ModuleType const& type,
                                       std::vector<uint16_t> const* pOnly, bool keepExisting)
{
    for (auto const& entry : type.m_widgets)
    {
        if (pOnly != nullptr)
        {
            bool wanted = false;
            for (uint16_t number : *pOnly)
            {
                wanted = wanted || number == entry.first;
            }
            if (!wanted)
            {
                continue;
            }
        }
        UniqueWidgetID const widgetID(id, entry.first);
        if (keepExisting && m_records.count(widgetID) != 0)
        {
            continue;
        }
        WidgetRecord record;
        record.m_type = entry.second.m_type;
        auto typeIt = m_widgetTypes.find(record.m_type);
        if (typeIt != m_widgetTypes.end())
        {
            for (auto const& attribute : typeIt->second.m_attributes)
            {
                record.m_values[attribute.first] = attribute.second.m_default;
            }
        }
        m_records[widgetID] = record;
    }
}

bool HwPanelModel::plug(UniqueModuleID const& id, PluggedModule const& module)
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto typeIt = m_moduleTypes.find(module.m_type);
    if (typeIt == m_moduleTypes.end())
    {
        return false;
    }
    m_records.erase(m_records.lower_bound(UniqueWidgetID(id, 0)),
                    m_records.upper_bound(UniqueWidgetID(id, 0xffff)));
    m_plugged[id] = module;
    createRecordsLocked(id, typeIt->second, nullptr, false);
    return true;
}

bool HwPanelModel::unplug(UniqueModuleID const& id)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_records.erase(m_records.lower_bound(UniqueWidgetID(id, 0)),
                    m_records.upper_bound(UniqueWidgetID(id, 0xffff)));
    return m_plugged.erase(id) != 0;
}

bool HwPanelModel::isPlugged(UniqueModuleID const& id) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_plugged.count(id) != 0;
}

bool HwPanelModel::getPlugged(UniqueModuleID const& id, PluggedModule& module) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto it = m_plugged.find(id);
    if (it == m_plugged.end())
    {
        return false;
    }
    module = it->second;
    return true;
}

std::vector<std::pair<UniqueModuleID, PluggedModule>> HwPanelModel::getPluggedModules() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return std::vector<std::pair<UniqueModuleID, PluggedModule>>(m_plugged.begin(), m_plugged.end());
}

bool HwPanelModel::hasWidget(UniqueWidgetID const& id) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto it = m_plugged.find(id.getUniqueModuleID());
    if (it == m_plugged.end())
    {
        return false;
    }
    auto typeIt = m_moduleTypes.find(it->second.m_type);
    return typeIt != m_moduleTypes.end() && typeIt->second.m_widgets.count(id.getWidgetID()) != 0;
}

bool HwPanelModel::ensureWidgets(UniqueModuleID const& id, std::string const& moduleType,
                                 std::vector<uint16_t> const& widgets)
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto typeIt = m_moduleTypes.find(moduleType);
    if (typeIt == m_moduleTypes.end())
    {
        return false;
    }
    createRecordsLocked(id, typeIt->second, &widgets, true);
    return true;
}

WidgetType const* HwPanelModel::findWidgetTypeLocked(UniqueWidgetID const& id) const
{
    auto recordIt = m_records.find(id);
    if (recordIt == m_records.end())
    {
        return nullptr;
    }
    auto typeIt = m_widgetTypes.find(recordIt->second.m_type);
    return typeIt != m_widgetTypes.end() ? &typeIt->second : nullptr;
}

EParamType HwPanelModel::getAttributeType(UniqueWidgetID const& id, std::string const& attribute) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    WidgetType const* pType = findWidgetTypeLocked(id);
    if (pType == nullptr)
    {
        return IPanelFeedback::eParamTypeUnknown;
    }
    auto it = pType->m_attributes.find(attribute);
    return it != pType->m_attributes.end() ? it->second.m_type : IPanelFeedback::eParamTypeUnknown;
}

EParamType HwPanelModel::getReceiveEventType(UniqueWidgetID const& id, std::string const& event) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    WidgetType const* pType = findWidgetTypeLocked(id);
    if (pType == nullptr)
    {
        return IPanelFeedback::eParamTypeUnknown;
    }
    auto it = pType->m_receiveEvents.find(event);
    return it != pType->m_receiveEvents.end() ? it->second : IPanelFeedback::eParamTypeUnknown;
}

namespace
{
// Text and the second text kind are one kind of value.
bool sameKind(EParamType a, EParamType b)
{
    auto isText = [](EParamType t)
    { return t == IPanelFeedback::eParamTypeText || t == IPanelFeedback::eParamTypeText2; };
    return a == b || (isText(a) && isText(b));
}
} // namespace

bool HwPanelModel::setAttribute(UniqueWidgetID const& id, std::string const& attribute, EParamType kind,
                                std::string const& value)
{
    std::lock_guard<std::mutex> guard(m_lock);
    WidgetType const* pType = findWidgetTypeLocked(id);
    if (pType == nullptr)
    {
        return false;
    }
    auto it = pType->m_attributes.find(attribute);
    std::string canonical;
    if (it == pType->m_attributes.end() || !sameKind(it->second.m_type, kind) ||
        !canonicalValue(it->second.m_type, value, canonical))
    {
        return false;
    }
    m_records[id].m_values[attribute] = canonical;
    return true;
}

bool HwPanelModel::getAttribute(UniqueWidgetID const& id, std::string const& attribute, EParamType kind,
                                std::string& value) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    WidgetType const* pType = findWidgetTypeLocked(id);
    if (pType == nullptr)
    {
        return false;
    }
    auto it = pType->m_attributes.find(attribute);
    if (it == pType->m_attributes.end() || !sameKind(it->second.m_type, kind))
    {
        return false;
    }
    auto const& values = m_records.find(id)->second.m_values;
    auto valueIt = values.find(attribute);
    value = valueIt != values.end() ? valueIt->second : it->second.m_default;
    return true;
}

bool HwPanelModel::setDefaults(UniqueWidgetID const& id)
{
    std::lock_guard<std::mutex> guard(m_lock);
    WidgetType const* pType = findWidgetTypeLocked(id);
    if (pType == nullptr)
    {
        return false;
    }
    std::map<std::string, std::string> values;
    for (auto const& attribute : pType->m_attributes)
    {
        values[attribute.first] = attribute.second.m_default;
    }
    m_records[id].m_values.swap(values);
    return true;
}

bool HwPanelModel::trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value)
{
    std::lock_guard<std::mutex> guard(m_lock);
    WidgetType const* pType = findWidgetTypeLocked(id);
    if (pType == nullptr || pType->m_receiveEvents.count(event) == 0)
    {
        return false;
    }
    m_records[id].m_values[event] = value;
    return true;
}

std::vector<std::string> HwPanelModel::show(UniqueModuleID const& id, uint16_t widget) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    std::vector<std::string> lines;
    auto first = m_records.lower_bound(UniqueWidgetID(id, widget != 0 ? widget : 0));
    auto last = m_records.upper_bound(UniqueWidgetID(id, widget != 0 ? widget : 0xffff));
    for (auto it = first; it != last; ++it)
    {
        for (auto const& value : it->second.m_values)
        {
            lines.push_back(it->first.toString() + " " + value.first + "=" + value.second);
        }
    }
    return lines;
}

bool HwPanelModel::hasRecords(UniqueModuleID const& id) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto it = m_records.lower_bound(UniqueWidgetID(id, 0));
    return it != m_records.end() && it->first.getUniqueModuleID() == id;
}

bool HwPanelModel::hasRecord(UniqueWidgetID const& id) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_records.count(id) != 0;
}
} // namespace hwsim
