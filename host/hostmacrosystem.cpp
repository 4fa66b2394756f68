#include "hostmacrosystem.h"

#include <basekit/uniqueids.h>
#include <interfaces/ipanelevent.h>

#include <cstdlib>

namespace
{
char const* const s_kindNames[] = {"none", "pre", "replace", "block"};

// "W G M WIDGET" from the first four arguments.
bool parseControl(rtk::CmdParameters const& params, UniqueWidgetID& id, std::ostream& out)
{
    long values[4] = {0, 0, 0, 0};
    long const limits[4] = {7, 31, 255, 65535};
    for (size_t i = 0; i < 4; ++i)
    {
        std::string const& text = params.get(i);
        char* pEnd = nullptr;
        values[i] = std::strtol(text.c_str(), &pEnd, 10);
        if (text.empty() || *pEnd != '\0' || values[i] < (i == 3 ? 1 : 0) || values[i] > limits[i])
        {
            out << params.getName() << ": bad control \"" << params.get(0) << " " << params.get(1) << " "
                << params.get(2) << " " << params.get(3) << "\"" << std::endl;
            return false;
        }
    }
    id = UniqueWidgetID(static_cast<uint16_t>(values[0]), static_cast<uint16_t>(values[1]),
                        static_cast<uint16_t>(values[2]), static_cast<uint16_t>(values[3]));
    return true;
}
} // namespace

HostMacroSystem::HostMacroSystem(std::ostream& out) : m_out(out), m_pPanelEvent(nullptr), m_trace(false)
{
    rtk::CmdProcessor* pShell = rtk::CmdProcessor::getInstance();
    pShell->registerCmd("macroArm",
                        "macroArm W G M WIDGET pre|replace|block\n\tarm a macro on a control: pre runs in front "
                        "of a press, replace instead of it, block keeps its events from PDL",
                        this, &HostMacroSystem::shellCmdArm);
    pShell->registerCmd("macroClear", "macroClear W G M WIDGET\n\tremove the macro of a control", this,
                        &HostMacroSystem::shellCmdClear);
    pShell->registerCmd("macroFinish",
                        "macroFinish W G M WIDGET\n\tend the macro running on a control (sends "
                        "PREMACROFINISHED or REPLACEMACROFINISHED)",
                        this, &HostMacroSystem::shellCmdFinish);
    pShell->registerCmd("macroTrace", "macroTrace on|off\n\tprint the macro system calls of the core", this,
                        &HostMacroSystem::shellCmdTrace);
    pShell->registerCmd("macroList", "macroList\n\tlist the armed macros and the macro levels other than DEFAULT", this,
                        &HostMacroSystem::shellCmdList);
}

HostMacroSystem::~HostMacroSystem()
{
    rtk::CmdProcessor::getInstance()->unregisterOwner(this);
}

void HostMacroSystem::setPanelEvent(IPanelEvent* pPanelEvent)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_pPanelEvent = pPanelEvent;
}

void HostMacroSystem::trace(char const* pWhat, UniqueWidgetID const& id)
{
    if (m_trace)
    {
        m_out << "MACRO " << pWhat << " " << id << std::endl;
    }
}

bool HostMacroSystem::isEventBlocked(UniqueWidgetID const& id)
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto const it = m_controls.find(id.getValue());
    bool const blocked = it != m_controls.end() && it->second.m_macro == eMacroBlock;
    if (blocked)
    {
        trace("blocked", id);
    }
    return blocked;
}

bool HostMacroSystem::start(UniqueWidgetID const& id, EMacro macro, char const* pWhat)
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto const it = m_controls.find(id.getValue());
    if (it == m_controls.end() || it->second.m_macro != macro || it->second.m_running)
    {
        return false;
    }
    it->second.m_running = true;
    trace(pWhat, id);
    return true;
}

bool HostMacroSystem::startPreMacro(UniqueWidgetID const& id)
{
    return start(id, eMacroPre, "startPreMacro");
}

bool HostMacroSystem::startReplaceMacro(UniqueWidgetID const& id)
{
    return start(id, eMacroReplace, "startReplaceMacro");
}

bool HostMacroSystem::hasMacro(UniqueWidgetID const& id)
{
    // Only a replace-macro takes the control over; a pre-macro lets the press through afterwards.
    std::lock_guard<std::mutex> guard(m_lock);
    auto const it = m_controls.find(id.getValue());
    return it != m_controls.end() && it->second.m_macro == eMacroReplace;
}

void HostMacroSystem::afterDownFirst(UniqueWidgetID const& id)
{
    std::lock_guard<std::mutex> guard(m_lock);
    trace("afterDownFirst", id);
}

void HostMacroSystem::afterDownSecond(UniqueWidgetID const& id)
{
    std::lock_guard<std::mutex> guard(m_lock);
    trace("afterDownSecond", id);
}

void HostMacroSystem::afterDownLast(UniqueWidgetID const& id)
{
    std::lock_guard<std::mutex> guard(m_lock);
    trace("afterDownLast", id);
}

void HostMacroSystem::onHold(UniqueWidgetID const& id)
{
    std::lock_guard<std::mutex> guard(m_lock);
    trace("onHold", id);
}

void HostMacroSystem::onUp(UniqueWidgetID const& id)
{
    std::lock_guard<std::mutex> guard(m_lock);
    trace("onUp", id);
}

void HostMacroSystem::setMacroLevel(UniqueWidgetID const& id, std::string const& level)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_levels[id.getValue()] = level;
}

std::string HostMacroSystem::getMacroLevel(UniqueWidgetID const& id)
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto const it = m_levels.find(id.getValue());
    return it != m_levels.end() ? it->second : std::string("DEFAULT");
}

bool HostMacroSystem::shellCmdArm(rtk::CmdParameters& params)
{
    if (params.getCount() != 5)
    {
        m_out << "Usage: macroArm W G M WIDGET pre|replace|block" << std::endl;
        return false;
    }
    UniqueWidgetID id;
    if (!parseControl(params, id, m_out))
    {
        return false;
    }
    std::string const& kind = params.get(4);
    EMacro macro = eMacroNone;
    if (kind == "pre")
        macro = eMacroPre;
    else if (kind == "replace")
        macro = eMacroReplace;
    else if (kind == "block")
        macro = eMacroBlock;
    else
    {
        m_out << "macroArm: unknown macro kind \"" << kind << "\"" << std::endl;
        return false;
    }
    std::lock_guard<std::mutex> guard(m_lock);
    Control& control = m_controls[id.getValue()];
    if (control.m_running)
    {
        m_out << "macroArm: a macro runs on " << id << std::endl;
        return false;
    }
    control.m_macro = macro;
    return true;
}

bool HostMacroSystem::shellCmdClear(rtk::CmdParameters& params)
{
    if (params.getCount() != 4)
    {
        m_out << "Usage: macroClear W G M WIDGET" << std::endl;
        return false;
    }
    UniqueWidgetID id;
    if (!parseControl(params, id, m_out))
    {
        return false;
    }
    std::lock_guard<std::mutex> guard(m_lock);
    auto const it = m_controls.find(id.getValue());
    if (it == m_controls.end())
    {
        m_out << "macroClear: no macro on " << id << std::endl;
        return false;
    }
    if (it->second.m_running)
    {
        m_out << "macroClear: a macro runs on " << id << std::endl;
        return false;
    }
    m_controls.erase(it);
    return true;
}

bool HostMacroSystem::shellCmdFinish(rtk::CmdParameters& params)
{
    if (params.getCount() != 4)
    {
        m_out << "Usage: macroFinish W G M WIDGET" << std::endl;
        return false;
    }
    UniqueWidgetID id;
    if (!parseControl(params, id, m_out))
    {
        return false;
    }
    std::string event;
    IPanelEvent* pPanelEvent = nullptr;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        auto const it = m_controls.find(id.getValue());
        if (it == m_controls.end() || !it->second.m_running)
        {
            m_out << "macroFinish: no macro runs on " << id << std::endl;
            return false;
        }
        it->second.m_running = false;
        event = it->second.m_macro == eMacroPre ? "PREMACROFINISHED" : "REPLACEMACROFINISHED";
        pPanelEvent = m_pPanelEvent;
    }
    // Sent without the lock: with queueing off the core runs the event, and calls back, right here.
    if (pPanelEvent != nullptr)
    {
        pPanelEvent->sendEvent(id, event);
    }
    return true;
}

bool HostMacroSystem::shellCmdTrace(rtk::CmdParameters& params)
{
    if (params.getCount() != 1 || (params.get(0) != "on" && params.get(0) != "off"))
    {
        m_out << "Usage: macroTrace on|off" << std::endl;
        return false;
    }
    std::lock_guard<std::mutex> guard(m_lock);
    m_trace = params.get(0) == "on";
    return true;
}

bool HostMacroSystem::shellCmdList(rtk::CmdParameters& /*params*/)
{
    std::lock_guard<std::mutex> guard(m_lock);
    if (m_controls.empty())
    {
        m_out << "no macros armed" << std::endl;
    }
    for (auto const& entry : m_controls)
    {
        m_out << UniqueWidgetID(entry.first) << " macro=" << s_kindNames[entry.second.m_macro]
              << (entry.second.m_running ? " running" : "") << std::endl;
    }
    for (auto const& entry : m_levels)
    {
        if (entry.second == "DEFAULT")
        {
            continue;
        }
        m_out << UniqueWidgetID(entry.first) << " level=" << entry.second << std::endl;
    }
    return true;
}
