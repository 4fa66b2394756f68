#include "pdlmodule.h"

#include "pdlbaseclasses.h"

PDLModule::PDLModule(UniqueModuleID const& id) : m_id(id) {}

PDLModule::~PDLModule() {}

void PDLModule::executeEvent(PDLEvent const* pEvent)
{
    if (pEvent == nullptr)
    {
        PDLRunTimeInfo::showError(rtk::LogOutput::eLevelFatal, __FILE__, __LINE__) << "Event" << std::endl
                                                                                   << std::endl;
        ++PDLParseInfo::m_errorCount;
        return;
    }
    // Widgets and sequences bound to the event are served here once modules are loaded from PDL.
}
