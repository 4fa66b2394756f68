#include "pdlphysicalwidget.h"

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlscaler.h"

#include <interfaces/imacrosystem.h>
#include <interfaces/ipanelfeedback.h>

PDLPhysicalWidget::PDLPhysicalWidget(IPanelFeedback* pPanelFeedback, UniqueWidgetID const& id)
    : m_iPanelFeedback(pPanelFeedback), m_id(id), m_pressed(false)
{
    setAllAttributesToDefault();
}

PDLPhysicalWidget::~PDLPhysicalWidget()
{
    m_iPanelFeedback = nullptr;
    for (auto& entry : m_scalers)
    {
        delete entry.second;
    }
}

void PDLPhysicalWidget::setAllAttributesToDefault()
{
    if (m_iPanelFeedback != nullptr)
    {
        m_iPanelFeedback->setAllAttributesToDefault(m_id);
    }
}

void PDLPhysicalWidget::setScaler(std::string const& attribute, PDLScaler* pScaler)
{
    auto it = m_scalers.find(attribute);
    if (it != m_scalers.end())
    {
        if (it->second == pScaler)
        {
            return;
        }
        delete it->second;
        it->second = pScaler;
        return;
    }
    m_scalers[attribute] = pScaler;
}

void PDLPhysicalWidget::connect(std::string const& attribute, std::string const& functionId)
{
    m_attributeConnections[attribute] = functionId;
}

void PDLPhysicalWidget::setAttributeValue(std::string const& attribute, PDLVariant const& value)
{
    auto scaler = m_scalers.find(attribute);
    if (scaler != m_scalers.end())
    {
        delete scaler->second;
        m_scalers.erase(scaler);
    }
    m_attributeConnections.erase(attribute);
    m_attributeValues[attribute] = value;
}

PDLVariant PDLPhysicalWidget::getAttributeValue(std::string const& attribute) const
{
    auto it = m_attributeValues.find(attribute);
    return it != m_attributeValues.end() ? it->second : PDLVariant();
}

void PDLPhysicalWidget::trigger(std::string const& event, std::string const& parameter)
{
    if (m_iPanelFeedback != nullptr)
    {
        m_iPanelFeedback->trigger(m_id, event, parameter);
    }
}

PDLScaler* PDLPhysicalWidget::getScaler(std::string const& attribute) const
{
    auto it = m_scalers.find(attribute);
    return it != m_scalers.end() ? it->second : nullptr;
}

std::string PDLPhysicalWidget::getConnection(std::string const& attribute) const
{
    auto it = m_attributeConnections.find(attribute);
    return it != m_attributeConnections.end() ? it->second : std::string();
}

PDLPhysicalWidgetManager::PDLPhysicalWidgetManager() : m_iPanelFeedback(nullptr) {}

PDLPhysicalWidgetManager::~PDLPhysicalWidgetManager()
{
    for (auto& entry : m_widgets)
    {
        delete entry.second;
    }
    m_widgets.clear();
    m_iPanelFeedback = nullptr;
}

IInterface* PDLPhysicalWidgetManager::queryInterface(unsigned int /*id*/)
{
    return nullptr;
}

void PDLPhysicalWidgetManager::addWidget(UniqueWidgetID const& id)
{
    if (m_iPanelFeedback == nullptr)
    {
        PDLRunTimeInfo::showError(rtk::LogOutput::eLevelFatal, __FILE__, __LINE__)
            << "m_iPanelFeedback" << std::endl
            << std::endl;
        ++PDLParseInfo::m_errorCount;
    }

    if (m_widgets.find(id) != m_widgets.end())
    {
        PDLRunTimeInfo::showError(rtk::LogOutput::eLevelError, __FILE__, __LINE__)
            << "Widget ID " << id.toString() << " already used" << std::endl
            << std::endl;
        ++PDLParseInfo::m_errorCount;
        return;
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
            delete it->second;
            it = m_widgets.erase(it);
        }
        else
        {
            ++it;
        }
    }
}

PDLPhysicalWidget* PDLPhysicalWidgetManager::findWidget(UniqueWidgetID const& id) const
{
    auto it = m_widgets.find(id);
    return it != m_widgets.end() ? it->second : nullptr;
}

PDLPhysicalWidget* PDLPhysicalWidgetManager::getWidget(UniqueWidgetID const& id)
{
    auto it = m_widgets.find(id);
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
