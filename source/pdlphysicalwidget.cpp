#include "pdlphysicalwidget.h"

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlscaler.h"

#include <interfaces/imacrosystem.h>

#include <cstdlib>
#include <iostream>
#include <iterator>

namespace
{
void reportDebug(std::string const& text, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelDebug1, text, __FILE__, line);
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// PDLPhysicalWidget

PDLPhysicalWidget::PDLPhysicalWidget(IPanelFeedback* pPanelFeedback, UniqueWidgetID const& id)
    : m_iPanelFeedback(pPanelFeedback), m_id(id), m_pressed(false)
{
    setAllAttributesToDefault();
}

PDLPhysicalWidget::~PDLPhysicalWidget()
{
    for (auto const& connection : m_attributeConnections)
    {
        unsubscribe(connection.second);
    }
    for (auto const& connection : m_eventConnections)
    {
        unsubscribe(connection.second);
    }
    m_iPanelFeedback = nullptr;
    for (auto& entry : m_scalers)
    {
        delete entry.second;
    }
}

void PDLPhysicalWidget::subscribe(std::string const& functionId)
{
    if (PDLPanelState::hasInstance())
    {
        PDLPanelState::getInstance()->subscribe(functionId, key());
    }
}

void PDLPhysicalWidget::unsubscribe(std::string const& functionId)
{
    // The panel state ignores a function id without an entry (the empty one of a first connect).
    if (PDLPanelState::hasInstance())
    {
        PDLPanelState::getInstance()->unsubscribe(functionId, key());
    }
}

IPanelFeedback::EWidgetParameterType PDLPhysicalWidget::paramType(std::string const& name) const
{
    // A widget made without a hardware side knows no attributes, so nothing below writes or reads.
    return m_iPanelFeedback != nullptr ? m_iPanelFeedback->getAttributeParamType(m_id, name)
                                       : IPanelFeedback::eParamTypeUnknown;
}

IPanelFeedback::EWidgetParameterType PDLPhysicalWidget::attributeType(char const* pOperation,
                                                                      std::string const& name)
{
    IPanelFeedback::EWidgetParameterType const type = paramType(name);
    if (type == IPanelFeedback::eParamTypeUnknown)
    {
        reportDebug(std::string(pOperation) + ": unknown attribute '" + name + "' for widget " + m_id.toString(),
                    __LINE__);
    }
    return type;
}

void PDLPhysicalWidget::connect(std::string const& name, std::string const& functionId)
{
    if (paramType(name) != IPanelFeedback::eParamTypeUnknown)
    {
        // Indexing makes the entry: a first connect unsubscribes from the empty function id.
        unsubscribe(m_attributeConnections[name]);
        m_attributeConnections[name] = functionId;
        subscribe(functionId);
        update();
        return;
    }
    if (m_iPanelFeedback != nullptr &&
        m_iPanelFeedback->getReceiveEventParamType(m_id, name) != IPanelFeedback::eParamTypeUnknown)
    {
        unsubscribe(m_eventConnections[name]);
        m_eventConnections[name] = functionId;
        subscribe(functionId);
        return;
    }
    reportDebug("connect: '" + name + "' is not a known attribute / receive event for widget " + m_id.toString(),
                __LINE__);
}

void PDLPhysicalWidget::update()
{
    // Which entry changed is not known: every connected attribute is looked at.
    for (auto const& connection : m_attributeConnections)
    {
        std::string const& name = connection.first;
        PDLVariant value =
            PDLPanelState::hasInstance() ? PDLPanelState::getInstance()->getValue(connection.second, true) : PDLVariant();
        IPanelFeedback::EWidgetParameterType const type = paramType(name);
        if (type == IPanelFeedback::eParamTypeUnknown)
        {
            reportDebug("update: unknown attribute '" + name + "' for widget " + m_id.toString(), __LINE__);
            continue;
        }
        // The raw state value is compared with the kept one, which is the scaled value where a scaler is
        // in use: scaled attributes are written again on every update.
        auto const kept = m_attributeValues.find(name);
        if (kept != m_attributeValues.end() && kept->second == value)
        {
            continue;
        }
        auto const scaler = m_scalers.find(name);
        if (scaler != m_scalers.end() && scaler->second != nullptr)
        {
            value = scaler->second->scale(value, false);
        }
        m_attributeValues[name] = value;
        updateAttributeValue(type, name);
    }
}

void PDLPhysicalWidget::updateAttributeValue(IPanelFeedback::EWidgetParameterType type, std::string const& name)
{
    if (m_iPanelFeedback == nullptr)
    {
        return;
    }
    auto const overrides = m_attributeOverrides.find(name);
    PDLVariant const& value =
        overrides != m_attributeOverrides.end() ? overrides->second.front().second : m_attributeValues[name];
    switch (type)
    {
    case IPanelFeedback::eParamTypeBool:
        m_iPanelFeedback->setAttributeBool(m_id, name, value.getBool());
        break;
    case IPanelFeedback::eParamTypeText:
    case IPanelFeedback::eParamTypeText2:
        m_iPanelFeedback->setAttributeText(m_id, name, value.getString());
        break;
    case IPanelFeedback::eParamTypeNumeric:
        m_iPanelFeedback->setAttributeNumeric(m_id, name, value.getInt());
        break;
    default:
        // Unknown types and types the core does not handle are not written.
        break;
    }
}

void PDLPhysicalWidget::setAttributeValue(std::string const& name, PDLVariant const& value)
{
    IPanelFeedback::EWidgetParameterType const type = attributeType("set", name);
    if (type == IPanelFeedback::eParamTypeUnknown)
    {
        return;
    }
    auto const scaler = m_scalers.find(name);
    if (scaler != m_scalers.end())
    {
        delete scaler->second;
        m_scalers.erase(scaler);
    }
    // A plain write ends a connection for good; receive event connections stay.
    auto const connection = m_attributeConnections.find(name);
    if (connection != m_attributeConnections.end())
    {
        unsubscribe(connection->second);
        m_attributeConnections.erase(connection);
    }
    auto const kept = m_attributeValues.find(name);
    if (kept != m_attributeValues.end() && kept->second == value)
    {
        return;
    }
    m_attributeValues[name] = value;
    updateAttributeValue(type, name);
}

PDLVariant PDLPhysicalWidget::getAttributeValue(std::string const& name)
{
    IPanelFeedback::EWidgetParameterType const type = attributeType("get", name);
    if (type == IPanelFeedback::eParamTypeUnknown)
    {
        return PDLVariant();
    }
    // The press state is the one attribute answered from the event history; it is a text.
    if (type == IPanelFeedback::eParamTypeBool && name == "PRESSED")
    {
        PDLVariant& pressed = m_attributeValues["PRESSED"];
        pressed = PDLVariant(m_pressed ? "TRUE" : "FALSE");
        return pressed;
    }
    // An overridden attribute answers the value under the overrides, without asking the hardware.
    if (m_attributeOverrides.find(name) != m_attributeOverrides.end())
    {
        return m_attributeValues[name];
    }
    switch (type)
    {
    case IPanelFeedback::eParamTypeBool:
    {
        bool value = false;
        if (m_iPanelFeedback->getAttributeBool(m_id, name, value))
        {
            m_attributeValues[name].setBool(value);
        }
        break;
    }
    case IPanelFeedback::eParamTypeNumeric:
    {
        int value = 0;
        if (m_iPanelFeedback->getAttributeNumeric(m_id, name, value))
        {
            m_attributeValues[name].setInt(value);
        }
        break;
    }
    case IPanelFeedback::eParamTypeText:
    case IPanelFeedback::eParamTypeText2:
    {
        std::string value;
        if (m_iPanelFeedback->getAttributeText(m_id, name, value))
        {
            m_attributeValues[name].setString(value);
        }
        break;
    }
    default:
        return PDLVariant();
    }
    // A failed read leaves the value last known.
    return m_attributeValues[name];
}

void PDLPhysicalWidget::overrideAttributeValue(std::string const& overrider, std::string const& name,
                                               PDLVariant const& value)
{
    IPanelFeedback::EWidgetParameterType const type = attributeType("override", name);
    if (type == IPanelFeedback::eParamTypeUnknown)
    {
        return;
    }
    // The hardware's present value is what a last restore brings back.
    if (m_attributeValues.find(name) == m_attributeValues.end())
    {
        getAttributeValue(name);
    }
    auto const overrides = m_attributeOverrides.find(name);
    if (overrides == m_attributeOverrides.end())
    {
        m_attributeOverrides[name].push_back(Override(overrider, value));
    }
    else
    {
        OverrideList& list = overrides->second;
        if (list.front().first == overrider)
        {
            if (list.front().second == value)
            {
                return;
            }
            list.front().second = value;
        }
        else
        {
            // A hidden overrider changes its value in place, unseen; a new one goes on top.
            for (auto it = std::next(list.begin()); it != list.end(); ++it)
            {
                if (it->first == overrider)
                {
                    it->second = value;
                    return;
                }
            }
            list.push_front(Override(overrider, value));
        }
    }
    updateAttributeValue(type, name);
}

void PDLPhysicalWidget::restoreAttributeValue(std::string const& overrider, std::string const& name)
{
    IPanelFeedback::EWidgetParameterType const type = attributeType("restore", name);
    if (type == IPanelFeedback::eParamTypeUnknown)
    {
        return;
    }
    auto const overrides = m_attributeOverrides.find(name);
    if (overrides == m_attributeOverrides.end())
    {
        return;
    }
    OverrideList& list = overrides->second;
    for (auto it = list.begin(); it != list.end(); ++it)
    {
        if (it->first == overrider)
        {
            list.erase(it);
            break;
        }
    }
    if (list.empty())
    {
        m_attributeOverrides.erase(overrides);
    }
    // Also when the overrider had nothing here: what is in force is written again.
    updateAttributeValue(type, name);
}

void PDLPhysicalWidget::setScaler(std::string const& name, PDLScaler* pScaler)
{
    PDLScaler*& pKept = m_scalers[name];
    if (pKept != pScaler)
    {
        delete pKept;
        pKept = pScaler;
    }
}

void PDLPhysicalWidget::sendEvent(std::string const& event)
{
    if (event == "DOWN" || event == "DPOP")
    {
        m_pressed = true;
    }
    else if (event == "UP")
    {
        m_pressed = false;
    }
}

void PDLPhysicalWidget::trigger(std::string const& event, std::string const& parameter)
{
    if (m_iPanelFeedback != nullptr)
    {
        m_iPanelFeedback->trigger(m_id, event, parameter);
    }
}

void PDLPhysicalWidget::triggerMFDriverEvent(std::string const& functionId, std::string const& parameter)
{
    for (auto const& connection : m_eventConnections)
    {
        if (connection.second == functionId)
        {
            trigger(connection.first, parameter);
        }
    }
}

void PDLPhysicalWidget::setAllAttributesToDefault()
{
    // A widget made while the hardware side was missing has been reported by the manager already.
    if (m_iPanelFeedback != nullptr)
    {
        m_iPanelFeedback->setAllAttributesToDefault(m_id);
    }
}

std::string PDLPhysicalWidget::getDescription(int /*id*/) const
{
    return "conn phys widget " + m_id.toString();
}

PDLScaler* PDLPhysicalWidget::getScaler(std::string const& name) const
{
    auto const it = m_scalers.find(name);
    return it != m_scalers.end() ? it->second : nullptr;
}

std::string PDLPhysicalWidget::getConnection(std::string const& name) const
{
    auto const it = m_attributeConnections.find(name);
    return it != m_attributeConnections.end() ? it->second : std::string();
}

std::string PDLPhysicalWidget::getEventConnection(std::string const& name) const
{
    auto const it = m_eventConnections.find(name);
    return it != m_eventConnections.end() ? it->second : std::string();
}

PDLPhysicalWidget::OverrideList PDLPhysicalWidget::getOverrides(std::string const& name) const
{
    auto const it = m_attributeOverrides.find(name);
    return it != m_attributeOverrides.end() ? it->second : OverrideList();
}

// ---------------------------------------------------------------------------------------------------
// PDLPhysicalWidgetManager

PDLPhysicalWidgetManager::PDLPhysicalWidgetManager() : m_iPanelFeedback(nullptr), m_pObserver(nullptr)
{
    rtk::CmdProcessor::getInstance()->registerCmd(
        "setAttr",
        "setAttr <workplace id> <group id> <module id> <widget id> <attrib> <value>\n\tSets attribute of a "
        "widget to specified value.",
        this, &PDLPhysicalWidgetManager::shellCmdSetAttr);
}

PDLPhysicalWidgetManager::~PDLPhysicalWidgetManager()
{
    rtk::CmdProcessor::getInstance()->unregisterOwner(this);
    for (auto& entry : m_widgets)
    {
        delete entry.second;
    }
    m_widgets.clear();
    m_iPanelFeedback = nullptr;
}

IInterface* PDLPhysicalWidgetManager::queryInterface(unsigned int id)
{
    if (id == IWidgetControl::s_interfaceID)
    {
        return static_cast<IWidgetControl*>(this);
    }
    return nullptr;
}

std::string PDLPhysicalWidgetManager::getWidgetAttributeValue(UniqueWidgetID const& id,
                                                              std::string const& attribute)
{
    PDLPhysicalWidget* pWidget = getWidget(id);
    return pWidget != nullptr ? pWidget->getAttributeValue(attribute).getString() : std::string();
}

void PDLPhysicalWidgetManager::setWidgetAttributeValue(UniqueWidgetID const& id, std::string const& attribute,
                                                       std::string const& value)
{
    // The widget converts the text to the attribute's kind when it writes to the hardware.
    if (PDLPhysicalWidget* pWidget = getWidget(id))
    {
        pWidget->setAttributeValue(attribute, PDLVariant(value));
    }
}

void PDLPhysicalWidgetManager::overrideWidgetAttributeValue(std::string const& overrider, UniqueWidgetID const& id,
                                                            std::string const& attribute,
                                                            std::string const& value)
{
    if (PDLPhysicalWidget* pWidget = getWidget(id))
    {
        pWidget->overrideAttributeValue(overrider, attribute, PDLVariant(value));
    }
}

void PDLPhysicalWidgetManager::restoreWidgetAttributeValue(std::string const& overrider, UniqueWidgetID const& id,
                                                           std::string const& attribute)
{
    if (PDLPhysicalWidget* pWidget = getWidget(id))
    {
        pWidget->restoreAttributeValue(overrider, attribute);
    }
}

void PDLPhysicalWidgetManager::addWidget(UniqueWidgetID const& id)
{
    if (m_iPanelFeedback == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_iPanelFeedback", __FILE__, __LINE__);
    }

    if (m_widgets.find(id) != m_widgets.end())
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, "Widget ID " + id.toString() + " already used",
                               __FILE__, __LINE__);
        return;
    }

    // The observer hears of the widget before the reset that making it sends to the hardware.
    if (m_pObserver != nullptr)
    {
        m_pObserver->widgetAdded(id);
    }
    m_widgets[id] = new PDLPhysicalWidget(m_iPanelFeedback, id);

    IMacroSystem* pMacroSystem =
        PDLEventManager::hasInstance() ? PDLEventManager::getInstance()->getMacroSystemInterface() : nullptr;
    if (pMacroSystem != nullptr)
    {
        pMacroSystem->setMacroLevel(id, "DEFAULT");
    }
}

void PDLPhysicalWidgetManager::removeWidgetsOfModule(UniqueModuleID const& id)
{
    auto it = m_widgets.begin();
    while (it != m_widgets.end())
    {
        UniqueWidgetID const& widgetID = it->first;
        if (widgetID.getWorkplaceID() == id.getWorkplaceID() && widgetID.getGroupID() == id.getGroupID() &&
            widgetID.getModuleID() == id.getModuleID())
        {
            PDLPhysicalWidget* pWidget = it->second;
            it = m_widgets.erase(it);
            delete pWidget;
        }
        else
        {
            ++it;
        }
    }
}

PDLPhysicalWidget* PDLPhysicalWidgetManager::findWidget(UniqueWidgetID const& id) const
{
    auto const it = m_widgets.find(id);
    return it != m_widgets.end() ? it->second : nullptr;
}

PDLPhysicalWidget* PDLPhysicalWidgetManager::getWidget(UniqueWidgetID const& id)
{
    auto const it = m_widgets.find(id);
    if (it != m_widgets.end())
    {
        return it->second;
    }
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelDebug1,
                           "widget id " + id.toString() + " not found (not defined in MHL file ?)", __FILE__,
                           __LINE__);
    addWidget(id);
    // An addWidget that stored nothing leaves a null entry, which callers test for.
    return m_widgets[id];
}

void PDLPhysicalWidgetManager::setPanelFeedbackInterface(IPanelFeedback* pPanelFeedback)
{
    m_iPanelFeedback = pPanelFeedback;
}

void PDLPhysicalWidgetManager::deinit()
{
    for (auto& entry : m_widgets)
    {
        if (entry.second != nullptr)
        {
            entry.second->setAllAttributesToDefault();
        }
    }
}

void PDLPhysicalWidgetManager::notifyModuleStatus(UniqueModuleID const& id, std::string const& type,
                                                  std::string const& version)
{
    if (m_pObserver != nullptr)
    {
        m_pObserver->moduleStatus(id, type, version);
    }
}

bool PDLPhysicalWidgetManager::shellCmdSetAttr(rtk::CmdParameters& params)
{
    if (params.getCount() != 6)
    {
        std::cout << "command format: setAttr <workplace id> <group id> <module id> <widget id> <attrib> <value>"
                  << std::endl;
        return false;
    }
    // Text that is no number reads as 0; values out of range are cut by the field masks.
    auto number = [&params](size_t i)
    { return static_cast<uint32_t>(std::strtol(params.get(i).c_str(), nullptr, 10)); };
    uint32_t const widget = number(3);
    uint32_t const module = number(2);
    uint32_t const group = number(1);
    uint32_t const workplace = number(0);
    uint32_t const id = (widget & 0xFFFFu) | ((module & 0xFFu) << 16) | ((group & 0x1Fu) << 24) | (workplace << 29);
    setWidgetAttributeValue(UniqueWidgetID(id), params.get(4), params.get(5));
    return true;
}
