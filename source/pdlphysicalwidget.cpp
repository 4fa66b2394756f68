#include "pdlphysicalwidget.h"

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"

#include <interfaces/imacrosystem.h>
#include <interfaces/ipanelfeedback.h>

PDLPhysicalWidget::PDLPhysicalWidget(IPanelFeedback* pPanelFeedback, UniqueWidgetID const& id)
    : m_iPanelFeedback(pPanelFeedback), m_id(id), m_pressed(false)
{
    setAllAttributesToDefault();
}

PDLPhysicalWidget::~PDLPhysicalWidget() {}

void PDLPhysicalWidget::setAllAttributesToDefault()
{
    if (m_iPanelFeedback != nullptr)
    {
        m_iPanelFeedback->setAllAttributesToDefault(m_id);
    }
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

    IMacroSystem* pMacroSystem = PDLEventManager::getInstance()->getMacroSystemInterface();
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
