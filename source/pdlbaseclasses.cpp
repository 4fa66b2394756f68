#include "pdlbaseclasses.h"

#include "pdlinterpreter.h"

rtk::Path PDLParseInfo::m_filePath;
int32_t PDLParseInfo::m_line = 0;
uint32_t PDLParseInfo::m_errorCount = 0;

rtk::LogOutput* PDLRunTimeInfo::s_pLogOutput = nullptr;
PDLContext* PDLRunTimeInfo::s_pCurrentContext = nullptr;
PDLObject* PDLRunTimeInfo::s_pCurrentObject = nullptr;

namespace
{
char const* getLevelName(int level)
{
    switch (level)
    {
    case rtk::LogOutput::eLevelFatal:
        return "FATAL:";
    case rtk::LogOutput::eLevelError:
        return "ERROR:";
    case rtk::LogOutput::eLevelWarning:
        return "WARNING:";
    case rtk::LogOutput::eLevelInfo:
        return "INFO:";
    case rtk::LogOutput::eLevelDebug1:
        return "DEBUG1:";
    case rtk::LogOutput::eLevelDebug2:
        return "DEBUG2:";
    case rtk::LogOutput::eLevelDebug3:
        return "DEBUG3:";
    default:
        return nullptr;
    }
}
} // namespace

std::ostream& PDLRunTimeInfo::showError(rtk::LogOutput::ELogLevel level, char const* /*file*/, int /*line*/)
{
    if (s_pLogOutput == nullptr)
    {
        s_pLogOutput = rtk::LogManager::getInstance()->getOutput("PDLInterpreter");
        s_pLogOutput->setLevel(PDLInterpreter::s_logLevel);
    }

    // Every report starts on a fresh line.
    std::ostream& os = s_pLogOutput->level(level);
    os << std::endl;
    if (static_cast<int>(level) > s_pLogOutput->getLevel())
    {
        return os;
    }

    char const* pName = getLevelName(level);
    if (pName != nullptr)
    {
        os << pName << std::endl;
    }

    // The PDL source position and the event being run are added here once the code object and
    // context classes exist; until then no object or context can be current.
    return os;
}
