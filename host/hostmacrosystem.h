#ifndef HOST_HOSTMACROSYSTEM_H
#define HOST_HOSTMACROSYSTEM_H

// The host's macro system: no macro is armed until the shell arms one on a control. Three kinds:
// a pre-macro runs in front of a press (the press waits for it), a replace-macro runs instead of a
// press, a block keeps the control's events from PDL. A running macro ends with macroFinish, which
// sends the finishing event as the hardware side would. macroTrace shows the calls of the core.

#include "rtk/cmd.h"

#include <interfaces/imacrosystem.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <ostream>
#include <string>

class IPanelEvent;
class UniqueWidgetID;

class HostMacroSystem : public IMacroSystem
{
public:
    // Registers the shell commands; trace lines and command answers go to out.
    explicit HostMacroSystem(std::ostream& out);
    ~HostMacroSystem() override;

    // Where macroFinish sends the finishing events; set once the panel exists.
    void setPanelEvent(IPanelEvent* pPanelEvent);

    IInterface* queryInterface(unsigned int) override { return nullptr; }

    bool isEventBlocked(UniqueWidgetID const& id) override;
    bool startPreMacro(UniqueWidgetID const& id) override;
    bool startReplaceMacro(UniqueWidgetID const& id) override;
    void afterDownFirst(UniqueWidgetID const& id) override;
    void afterDownLast(UniqueWidgetID const& id) override;
    bool hasMacro(UniqueWidgetID const& id) override;
    void setMacroLevel(UniqueWidgetID const& id, std::string const& level) override;
    // The level last set, "DEFAULT" before that.
    std::string getMacroLevel(UniqueWidgetID const& id) override;
    void afterDownSecond(UniqueWidgetID const& id) override;
    void onHold(UniqueWidgetID const& id) override;
    void onUp(UniqueWidgetID const& id) override;

private:
    enum EMacro
    {
        eMacroNone,
        eMacroPre,
        eMacroReplace,
        eMacroBlock
    };
    struct Control
    {
        EMacro m_macro = eMacroNone;
        bool m_running = false;
    };

    HostMacroSystem(HostMacroSystem const&) = delete;
    HostMacroSystem& operator=(HostMacroSystem const&) = delete;

    // Starts the control's macro if one of that kind is armed and none runs.
    bool start(UniqueWidgetID const& id, EMacro macro, char const* pWhat);
    void trace(char const* pWhat, UniqueWidgetID const& id);

    bool shellCmdArm(rtk::CmdParameters& params);
    bool shellCmdClear(rtk::CmdParameters& params);
    bool shellCmdFinish(rtk::CmdParameters& params);
    bool shellCmdTrace(rtk::CmdParameters& params);
    bool shellCmdList(rtk::CmdParameters& params);

    std::mutex m_lock;
    std::ostream& m_out;
    IPanelEvent* m_pPanelEvent;
    bool m_trace;
    std::map<uint32_t, Control> m_controls;
    std::map<uint32_t, std::string> m_levels;
};

#endif
