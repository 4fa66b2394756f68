#ifndef INTERFACES_IPANELSTATE_H
#define INTERFACES_IPANELSTATE_H

#include "interfaces/iinterface.h"

#include <string>

// Writes to the panel state from any thread; each operation takes the interpreter mutex.
class IPanelState : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIPanelState;

    virtual void setStateValue(std::string const& fid, std::string const& value) = 0;
    virtual void setStateValueFloat(std::string const& fid, float value) = 0;
    virtual void setStateValueInt(std::string const& fid, int value) = 0;
    virtual void setStateValueBool(std::string const& fid, bool value) = 0;
    // A trailing '*' makes every entry that begins with the rest of fid invalid.
    virtual void unsetStateValue(std::string const& fid) = 0;
    virtual void triggerEvent(std::string const& fid, std::string const& parameter) = 0;
};

#endif
