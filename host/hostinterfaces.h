#ifndef HOST_HOSTINTERFACES_H
#define HOST_HOSTINTERFACES_H

// The interfaces the host gives the core: function ids (printed), settings and MFD (placeholders the
// driver receives), and the driver type lookup. The macro system has its own unit.

#include <interfaces/idriverinfo.h>
#include <interfaces/ifunctionid.h>
#include <interfaces/ipanelmfd.h>
#include <interfaces/ipanelsettings.h>

#include <map>
#include <mutex>
#include <ostream>
#include <string>

class UniqueWidgetID;

// Prints "CALL FID name=value ..." for each call and "SUBSCRIBE FID" for each subscription.
class HostFunctionID : public IFunctionID
{
public:
    explicit HostFunctionID(std::ostream& out) : m_out(out) {}

    bool subscribeFunctionID(std::string const& fid) override;
    bool callFunctionID(std::string const& fid, FIDParameterList const& params) override;

private:
    std::mutex m_lock;
    std::ostream& m_out;
};

class HostPanelSettings : public IPanelSettings
{
};

class HostPanelMFD : public IPanelMFD
{
};

// Driver type -> PDL name. A type without an entry uses its own name.
class HostDriverInfo : public IDriverInfo
{
public:
    void add(std::string const& driverType, std::string const& pdlName) { m_names[driverType] = pdlName; }
    std::string getPDLName(std::string const& driverType) override;

private:
    std::map<std::string, std::string> m_names;
};

#endif
