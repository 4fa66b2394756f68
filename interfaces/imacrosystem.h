#ifndef INTERFACES_IMACROSYSTEM_H
#define INTERFACES_IMACROSYSTEM_H

#include "interfaces/iinterface.h"

#include <string>

class UniqueWidgetID;

// Given by the host: macros recorded on controls, which may hold back or replace a press.
// Called on the PDL thread with the interpreter mutex held. It has no interface id of its own.
class IMacroSystem : public virtual IInterface
{
public:
    // True keeps the event from PDL.
    virtual bool isEventBlocked(UniqueWidgetID const& id) = 0;
    // True: a macro now runs and the press waits for "PREMACROFINISHED".
    virtual bool startPreMacro(UniqueWidgetID const& id) = 0;
    // True: a macro runs in place of the press.
    virtual bool startReplaceMacro(UniqueWidgetID const& id) = 0;
    virtual void afterDownFirst(UniqueWidgetID const& id) = 0;
    virtual void afterDownLast(UniqueWidgetID const& id) = 0;
    // True when a macro is armed on the control.
    virtual bool hasMacro(UniqueWidgetID const& id) = 0;
    virtual void setMacroLevel(UniqueWidgetID const& id, std::string const& level) = 0;
    virtual std::string getMacroLevel(UniqueWidgetID const& id) = 0;
    virtual void afterDownSecond(UniqueWidgetID const& id) = 0;
    virtual void onHold(UniqueWidgetID const& id) = 0;
    virtual void onUp(UniqueWidgetID const& id) = 0;
};

#endif
