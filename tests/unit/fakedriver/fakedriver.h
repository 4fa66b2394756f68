#ifndef FAKEDRIVER_H
#define FAKEDRIVER_H

// Control and recording of the module driver test double.

#include <string>
#include <vector>

class IPanelEvent;
class IPDLInterpreter;

namespace fakedriver
{
// Forgets the recorded calls, offers every interface again and makes every parse succeed.
void reset();
// The calls received so far, oldest first, e.g. "IWidgetManager::setModeFlag(1)".
std::vector<std::string> getCalls();
// Whether the driver answers the interface id (1001, 1004, 1006, 1010, 1011).
void setOffered(unsigned int id, bool offered);
// Makes parseWidgetTypes, parseModuleTypes, parseModuleConfigOverride or setPorts (by that name)
// return false.
void setFailing(std::string const& operation, bool failing);
// What the core handed to the driver.
IPanelEvent* getPanelEvent();
IPDLInterpreter* getPDLInterpreter();
} // namespace fakedriver

#endif
