#include "hostinterfaces.h"

#include <basekit/fidhelper.h>
#include <basekit/uniqueids.h>

bool HostFunctionID::subscribeFunctionID(std::string const& fid)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_out << "SUBSCRIBE " << fid << std::endl;
    return true;
}

bool HostFunctionID::callFunctionID(std::string const& fid, FIDParameterList const& params)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_out << "CALL " << fid;
    for (size_t i = 0; i < params.getCount(); ++i)
    {
        m_out << " " << params.getName(i) << "=" << params.getValue(i);
    }
    m_out << std::endl;
    return true;
}

std::string HostDriverInfo::getPDLName(std::string const& driverType)
{
    auto it = m_names.find(driverType);
    return it != m_names.end() ? it->second : driverType;
}
