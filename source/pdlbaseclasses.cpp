#include "pdlbaseclasses.h"

#include "pdldebugger.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdlsymboltable.h"

#include <iostream>

PDLModule* g_pCurrentModule = nullptr;

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

    // The position shown is the PDL source's, never the interpreter's: the node's when it has one,
    // else the context's.
    if (s_pCurrentObject != nullptr && !s_pCurrentObject->getFilePath().isEmpty())
    {
        os << s_pCurrentObject->getFilePath().getString() << "(" << s_pCurrentObject->getLine()
           << "): " << std::endl;
    }
    else
    {
        if (s_pCurrentContext == nullptr)
        {
            return os;
        }
        if (!s_pCurrentContext->getFilePath().isEmpty())
        {
            os << s_pCurrentContext->getFilePath().getString() << "(" << s_pCurrentContext->getLine()
               << "): " << std::endl;
        }
    }

    if (s_pCurrentContext == nullptr)
    {
        return os;
    }
    PDLEvent const* pEvent = s_pCurrentContext->getCurrentEvent();
    if (pEvent == nullptr || pEvent->m_name.empty())
    {
        return os;
    }
    if (pEvent->m_type == PDLEvent::eEventVariable)
    {
        os << "current variable event: " << pEvent->m_name;
    }
    else
    {
        os << "current widget event: " << pEvent->m_widgetID << " " << pEvent->m_name;
    }
    os << std::endl;
    return os;
}

void PDLRunTimeInfo::report(rtk::LogOutput::ELogLevel level, std::string const& text, char const* file,
                            int line)
{
    showError(level, file, line) << text << std::endl << std::endl;
    if (level == rtk::LogOutput::eLevelFatal || level == rtk::LogOutput::eLevelError)
    {
        ++PDLParseInfo::m_errorCount;
    }
}

PDLObject::PDLObject()
    : m_pContext(nullptr), m_filePath(PDLParseInfo::m_filePath), m_line(PDLParseInfo::m_line),
      m_noEventRegistration(false)
{
    PDLRunTimeInfo::s_pCurrentObject = this;
}

PDLObject::~PDLObject()
{
    // A report after this node is gone must not read it.
    if (PDLRunTimeInfo::s_pCurrentObject == this)
    {
        PDLRunTimeInfo::s_pCurrentObject = nullptr;
    }
}

void PDLObject::dump() const {}

void PDLObject::print() const {}

void PDLObject::onContextSet() {}

void PDLObject::setContext(PDLContext* pContext, bool noEventRegistration)
{
    m_pContext = pContext;
    m_noEventRegistration = noEventRegistration;
    PDLRunTimeInfo::s_pCurrentObject = this;
    onContextSet();
}

PDLVariable* PDLObject::getVariable(std::string const& name, bool registerEvent)
{
    if (m_pContext == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pContext", __FILE__, __LINE__);
        return nullptr;
    }
    return m_pContext->getVariable(name, registerEvent && !m_noEventRegistration, false);
}

PDLVariable* PDLObject::getLocalVariable(std::string const& name)
{
    if (m_pContext == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pContext", __FILE__, __LINE__);
        return nullptr;
    }
    return m_pContext->getLocalVariable(name);
}

PDLWidget* PDLObject::getWidget() const
{
    return m_pContext != nullptr ? m_pContext->getWidget() : nullptr;
}

PDLCommand::PDLCommand(bool registerLine) : m_breakpoint(false)
{
    // Commands are made while a module is parsed; one made outside a load has no line to register.
    if (registerLine && g_pCurrentModule != nullptr)
    {
        g_pCurrentModule->addCommand(m_line, this);
    }
}

PDLCommand::~PDLCommand()
{
    // Commands go away either with their module's content, whose table is emptied with it, or during the
    // parse that made them (a syntax error or a failed check throws them away): then the module being
    // loaded must not keep them under their line.
    if (g_pCurrentModule != nullptr)
    {
        g_pCurrentModule->forgetCommand(m_line, this);
    }
}

void PDLRunTimeInfo::reportMissing(char const* name, char const* file, int line)
{
    report(rtk::LogOutput::eLevelFatal, name, file, line);
}
