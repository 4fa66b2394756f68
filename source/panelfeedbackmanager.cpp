#include "panelfeedbackmanager.h"

#include <basekit/timinglog.h>
#include <basekit/uniqueids.h>

#include <sstream>

namespace
{
// The timing line of an outgoing write: PREFIX w.g.m.widget NAME VALUE.
template <class T>
void logTiming(char const* pPrefix, UniqueWidgetID const& id, std::string const& name, T const& value)
{
    std::ostringstream os;
    os << pPrefix << id.getWorkplaceID() << "." << id.getGroupID() << "." << id.getModuleID() << "."
       << id.getWidgetID() << " " << name << " " << value;
    TimingLog::log(os.str());
}
} // namespace

PanelFeedbackManager::PanelFeedbackManager() {}

PanelFeedbackManager::~PanelFeedbackManager() {}

IInterface* PanelFeedbackManager::queryInterface(unsigned int id)
{
    if (id == IPanelFeedback::s_interfaceID)
    {
        return static_cast<IPanelFeedback*>(this);
    }
    return nullptr;
}

void PanelFeedbackManager::addIPanelFeedback(IPanelFeedback* pPanelFeedback)
{
    m_receivers.push_back(pPanelFeedback);
}

IPanelFeedback* PanelFeedbackManager::getFirstReceiver() const
{
    return m_receivers.empty() ? nullptr : m_receivers.front();
}

IPanelFeedback::EWidgetParameterType PanelFeedbackManager::getAttributeParamType(UniqueWidgetID const& id,
                                                                                 std::string const& attribute)
{
    IPanelFeedback* pFirst = getFirstReceiver();
    return pFirst != nullptr ? pFirst->getAttributeParamType(id, attribute) : eParamTypeUnknown;
}

IPanelFeedback::EWidgetParameterType PanelFeedbackManager::getReceiveEventParamType(UniqueWidgetID const& id,
                                                                                    std::string const& event)
{
    IPanelFeedback* pFirst = getFirstReceiver();
    return pFirst != nullptr ? pFirst->getReceiveEventParamType(id, event) : eParamTypeUnknown;
}

void PanelFeedbackManager::setAllAttributesToDefault(UniqueWidgetID const& id)
{
    for (IPanelFeedback* pReceiver : m_receivers)
    {
        pReceiver->setAllAttributesToDefault(id);
    }
}

bool PanelFeedbackManager::setAttributeBool(UniqueWidgetID const& id, std::string const& attribute,
                                            bool value)
{
    logTiming("SET_A ", id, attribute, value ? 1 : 0);
    for (IPanelFeedback* pReceiver : m_receivers)
    {
        pReceiver->setAttributeBool(id, attribute, value);
    }
    return true;
}

bool PanelFeedbackManager::setAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute,
                                               int value)
{
    logTiming("SET_A ", id, attribute, value);
    for (IPanelFeedback* pReceiver : m_receivers)
    {
        pReceiver->setAttributeNumeric(id, attribute, value);
    }
    return true;
}

bool PanelFeedbackManager::setAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                                            std::string const& value)
{
    logTiming("SET_A ", id, attribute, value);
    for (IPanelFeedback* pReceiver : m_receivers)
    {
        pReceiver->setAttributeText(id, attribute, value);
    }
    return true;
}

bool PanelFeedbackManager::getAttributeBool(UniqueWidgetID const& id, std::string const& attribute,
                                            bool& value)
{
    IPanelFeedback* pFirst = getFirstReceiver();
    return pFirst != nullptr && pFirst->getAttributeBool(id, attribute, value);
}

bool PanelFeedbackManager::getAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute,
                                               int& value)
{
    IPanelFeedback* pFirst = getFirstReceiver();
    return pFirst != nullptr && pFirst->getAttributeNumeric(id, attribute, value);
}

bool PanelFeedbackManager::getAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                                            std::string& value)
{
    IPanelFeedback* pFirst = getFirstReceiver();
    return pFirst != nullptr && pFirst->getAttributeText(id, attribute, value);
}

bool PanelFeedbackManager::trigger(UniqueWidgetID const& id, std::string const& event,
                                   std::string const& value)
{
    logTiming("TRIGG ", id, event, value);
    for (IPanelFeedback* pReceiver : m_receivers)
    {
        pReceiver->trigger(id, event, value);
    }
    return true;
}
