#ifndef CORE_FUNCTION_HELPERS_H
#define CORE_FUNCTION_HELPERS_H

// A recording function id service, shared by the function call and panel command tests.

#include <basekit/fidhelper.h>
#include <basekit/uniqueids.h>
#include <interfaces/ifunctionid.h>

#include <string>
#include <utility>
#include <vector>

class RecordingFunctionID : public IFunctionID
{
public:
    struct Call
    {
        std::string m_fid;
        std::vector<std::pair<std::string, std::string>> m_parameters;
        uint32_t m_widgetID;
    };
    bool subscribeFunctionID(std::string const& fid) override
    {
        m_subscriptions.push_back(fid);
        return true;
    }
    bool callFunctionID(std::string const& fid, FIDParameterList const& params) override
    {
        Call call{fid, {}, params.getWidgetID().getValue()};
        for (size_t i = 0; i < params.getCount(); ++i)
        {
            call.m_parameters.emplace_back(params.getName(i), params.getValue(i));
        }
        m_calls.push_back(call);
        return true;
    }
    std::vector<std::string> m_subscriptions;
    std::vector<Call> m_calls;
};
#endif
