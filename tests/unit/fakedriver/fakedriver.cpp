#include "fakedriver.h"

#include "rtk/module.h"
#include "rtk/path.h"

#include <basekit/uniqueids.h>
#include <interfaces/icolormanager.h>
#include <interfaces/ihwmodulemanager.h>
#include <interfaces/imhlparser.h>
#include <interfaces/ipanelfeedback.h>
#include <interfaces/iwidgetmanager.h>

#include <mutex>
#include <set>

namespace
{
std::mutex g_lock;
std::vector<std::string> g_calls;
std::set<unsigned int> g_notOffered;
std::set<std::string> g_failing;
IPanelEvent* g_pPanelEvent = nullptr;
IPDLInterpreter* g_pPDLInterpreter = nullptr;

std::string text(std::string const& value)
{
    return value;
}
std::string text(UniqueWidgetID const& id)
{
    return id.toString();
}
std::string text(UniqueModuleID const& id)
{
    return id.toString();
}
std::string text(rtk::Path const& path)
{
    return path.getString();
}
std::string text(int value)
{
    return std::to_string(value);
}
std::string text(bool value)
{
    return value ? "1" : "0";
}
std::string text(void const* pPointer)
{
    return pPointer != nullptr ? "ptr" : "null";
}

// Records "operation(arg,...)"; false when the operation, by its name after "::", was made to fail.
template <class... Args>
bool record(std::string const& operation, Args const&... args)
{
    std::string call = operation + "(";
    for (std::string const& arg : std::vector<std::string>{text(args)...})
        call += (call.back() == '(' ? "" : ",") + arg;
    std::lock_guard<std::mutex> guard(g_lock);
    g_calls.push_back(call + ")");
    return g_failing.count(operation.substr(operation.rfind(':') + 1)) == 0;
}

class FakeDriver : public IHwModuleManager,
                   public IPanelFeedback,
                   public IMHLParser,
                   public IWidgetManager,
                   public IColorManager
{
public:
    FakeDriver() { record("FakeDriver"); }
    ~FakeDriver() override { record("~FakeDriver"); }

    IInterface* queryInterface(unsigned int id) override
    {
        {
            std::lock_guard<std::mutex> guard(g_lock);
            if (g_notOffered.count(id) != 0)
            {
                return nullptr;
            }
        }
        switch (id)
        {
        case eIWidgetManager:
            return static_cast<IWidgetManager*>(this);
        case eIPanelFeedback:
            return static_cast<IPanelFeedback*>(this);
        case eIMHLParser:
            return static_cast<IMHLParser*>(this);
        case eIHwModuleManager:
            return static_cast<IHwModuleManager*>(this);
        case eIColorManager:
            return static_cast<IColorManager*>(this);
        default:
            return nullptr;
        }
    }

    bool parseModuleConfigOverride(rtk::Path const& file) override
    {
        return record("IHwModuleManager::parseModuleConfigOverride", file);
    }
    bool setPorts(int workplaceID, std::string const& ports) override
    {
        return record("IHwModuleManager::setPorts", workplaceID, ports);
    }
    void startHardwareUpdate() override { record("IHwModuleManager::startHardwareUpdate"); }
    void stopHardwareUpdate() override { record("IHwModuleManager::stopHardwareUpdate"); }
    // Both IHwModuleManager and IColorManager declare it; one implementation serves both.
    void setPanelMFDInterface(IPanelMFD* pPanelMFD) override { record("setPanelMFDInterface", pPanelMFD); }
    void startDiagnosis() override { record("IHwModuleManager::startDiagnosis"); }
    void stopDiagnosis() override { record("IHwModuleManager::stopDiagnosis"); }

    EWidgetParameterType getAttributeParamType(UniqueWidgetID const& id, std::string const& attribute) override
    {
        record("IPanelFeedback::getAttributeParamType", id, attribute);
        return eParamTypeNumeric;
    }
    EWidgetParameterType getReceiveEventParamType(UniqueWidgetID const& id, std::string const& event) override
    {
        record("IPanelFeedback::getReceiveEventParamType", id, event);
        return eParamTypeText;
    }
    void setAllAttributesToDefault(UniqueWidgetID const& id) override
    {
        record("IPanelFeedback::setAllAttributesToDefault", id);
    }
    bool setAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool value) override
    {
        return record("IPanelFeedback::setAttributeBool", id, attribute, value);
    }
    bool setAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int value) override
    {
        return record("IPanelFeedback::setAttributeNumeric", id, attribute, value);
    }
    bool setAttributeText(UniqueWidgetID const& id, std::string const& attribute, std::string const& value) override
    {
        return record("IPanelFeedback::setAttributeText", id, attribute, value);
    }
    bool getAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool& value) override
    {
        value = true;
        return record("IPanelFeedback::getAttributeBool", id, attribute);
    }
    bool getAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int& value) override
    {
        value = 42;
        return record("IPanelFeedback::getAttributeNumeric", id, attribute);
    }
    bool getAttributeText(UniqueWidgetID const& id, std::string const& attribute, std::string& value) override
    {
        value = "driver";
        return record("IPanelFeedback::getAttributeText", id, attribute);
    }
    bool trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value) override
    {
        return record("IPanelFeedback::trigger", id, event, value);
    }

    bool parseWidgetTypes(rtk::Path const& file) override { return record("IMHLParser::parseWidgetTypes", file); }
    bool parseModuleTypes(rtk::Path const& file) override { return record("IMHLParser::parseModuleTypes", file); }
    bool parseModuleMHL(UniqueModuleID const& id, rtk::Path const& base, std::string const& mhlFile) override
    {
        return record("IMHLParser::parseModuleMHL", id, base, mhlFile);
    }
    void setPDLInterpreter(IPDLInterpreter* pInterpreter) override
    {
        record("IMHLParser::setPDLInterpreter", pInterpreter);
        std::lock_guard<std::mutex> guard(g_lock);
        g_pPDLInterpreter = pInterpreter;
    }

    void setPanelEventInterface(IPanelEvent* pPanelEvent) override
    {
        record("IWidgetManager::setPanelEventInterface", pPanelEvent);
        std::lock_guard<std::mutex> guard(g_lock);
        g_pPanelEvent = pPanelEvent;
    }
    void setPanelSettingsInterface(IPanelSettings* pPanelSettings) override
    {
        record("IWidgetManager::setPanelSettingsInterface", pPanelSettings);
    }
    void setModeFlag(bool flag) override { record("IWidgetManager::setModeFlag", flag); }
};
} // namespace

extern "C" __attribute__((visibility("default"))) IInterface* RTK_MODULE_ENTRY()
{
    return new FakeDriver;
}

namespace fakedriver
{
void reset()
{
    std::lock_guard<std::mutex> guard(g_lock);
    g_calls.clear();
    g_notOffered.clear();
    g_failing.clear();
    g_pPanelEvent = nullptr;
    g_pPDLInterpreter = nullptr;
}

std::vector<std::string> getCalls()
{
    std::lock_guard<std::mutex> guard(g_lock);
    return g_calls;
}

void setOffered(unsigned int id, bool offered)
{
    std::lock_guard<std::mutex> guard(g_lock);
    if (offered)
    {
        g_notOffered.erase(id);
    }
    else
    {
        g_notOffered.insert(id);
    }
}

void setFailing(std::string const& operation, bool failing)
{
    std::lock_guard<std::mutex> guard(g_lock);
    if (failing)
    {
        g_failing.insert(operation);
    }
    else
    {
        g_failing.erase(operation);
    }
}

IPanelEvent* getPanelEvent()
{
    std::lock_guard<std::mutex> guard(g_lock);
    return g_pPanelEvent;
}

IPDLInterpreter* getPDLInterpreter()
{
    std::lock_guard<std::mutex> guard(g_lock);
    return g_pPDLInterpreter;
}
} // namespace fakedriver
