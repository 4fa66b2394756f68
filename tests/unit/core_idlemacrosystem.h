#ifndef CORE_IDLEMACROSYSTEM_H
#define CORE_IDLEMACROSYSTEM_H

// A macro system with no macro armed anywhere. The hardware event path relies on the host having
// installed one before the first hardware event, so tests that send such events install this one.

#include <basekit/uniqueids.h>
#include <interfaces/imacrosystem.h>

#include <string>

class IdleMacroSystem : public IMacroSystem
{
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    bool isEventBlocked(UniqueWidgetID const&) override { return false; }
    bool startPreMacro(UniqueWidgetID const&) override { return false; }
    bool startReplaceMacro(UniqueWidgetID const&) override { return false; }
    void afterDownFirst(UniqueWidgetID const&) override {}
    void afterDownLast(UniqueWidgetID const&) override {}
    bool hasMacro(UniqueWidgetID const&) override { return false; }
    void setMacroLevel(UniqueWidgetID const&, std::string const&) override {}
    std::string getMacroLevel(UniqueWidgetID const&) override { return "DEFAULT"; }
    void afterDownSecond(UniqueWidgetID const&) override {}
    void onHold(UniqueWidgetID const&) override {}
    void onUp(UniqueWidgetID const&) override {}
};

#endif
