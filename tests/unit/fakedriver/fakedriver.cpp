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
#include <sstream>

namespace
{
std::mutex g_lock;
std::vector<std::string> g_calls;
std::set<unsigned int> g_notOffered;
std::set<std::string> g_failing;
IPanelEvent* g_pPanelEvent = nullptr;
IPDLInterpreter* g_pPDLInterpreter = nullptr;

void record(std::string const& call)
{
    std::lock_guard<std::mutex> guard(g_lock);
    g_calls.push_back(call);
}

bool succeeds(std::string const& operation)
{
    std::lock_guard<std::mutex> guard(g_lock);
    return g_failing.count(operation) == 0;
}

class FakeDriver : public IHwModuleManager,
                   public IPanelFeedback,
                   public IMHLParser,
                   public IWidgetManager,
                   public IColorManager
{
public:
    FakeDriver() { record("FakeDriver()"); }
    ~FakeDriver() override { record("~FakeDriver()"); }

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

    // IHwModuleManager
    bool parseModuleConfigOverride(rtk::Path const& file) override
    {
        record("IHwModuleManager::parseModuleConfigOverride(" + file.getString() + ")");
        return succeeds("parseModuleConfigOverride");
    }
    bool setPorts(int workplaceID, std::string const& ports) override
    {
        record("IHwModuleManager::setPorts(" + std::to_string(workplaceID) + "," + ports + ")");
        return succeeds("setPorts");
    }
    void startHardwareUpdate() override { record("IHwModuleManager::startHardwareUpdate()"); }
    void stopHardwareUpdate() override { record("IHwModuleManager::stopHardwareUpdate()"); }
    void setPanelMFDInterface(IPanelMFD* pPanelMFD) override
    {
        // Both IHwModuleManager and IColorManager declare it; one implementation serves both.
        record(std::string("setPanelMFDInterface(") + (pPanelMFD != nullptr ? "ptr" : "null") + ")");
    }
    void startDiagnosis() override { record("IHwModuleManager::startDiagnosis()"); }
    void stopDiagnosis() override { record("IHwModuleManager::stopDiagnosis()"); }

    // IPanelFeedback
    EWidgetParameterType getAttributeParamType(UniqueWidgetID const& id,
                                               std::string const& attribute) override
    {
        record("IPanelFeedback::getAttributeParamType(" + id.toString() + "," + attribute + ")");
        return eParamTypeNumeric;
    }
    EWidgetParameterType getReceiveEventParamType(UniqueWidgetID const& id, std::string const& event) override
    {
        record("IPanelFeedback::getReceiveEventParamType(" + id.toString() + "," + event + ")");
        return eParamTypeText;
    }
    void setAllAttributesToDefault(UniqueWidgetID const& id) override
    {
        record("IPanelFeedback::setAllAttributesToDefault(" + id.toString() + ")");
    }
    bool setAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool value) override
    {
        record("IPanelFeedback::setAttributeBool(" + id.toString() + "," + attribute + "," +
               (value ? "1" : "0") + ")");
        return true;
    }
    bool setAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int value) override
    {
        record("IPanelFeedback::setAttributeNumeric(" + id.toString() + "," + attribute + "," +
               std::to_string(value) + ")");
        return true;
    }
    bool setAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                          std::string const& value) override
    {
        record("IPanelFeedback::setAttributeText(" + id.toString() + "," + attribute + "," + value + ")");
        return true;
    }
    bool getAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool& value) override
    {
        record("IPanelFeedback::getAttributeBool(" + id.toString() + "," + attribute + ")");
        value = true;
        return true;
    }
    bool getAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int& value) override
    {
        record("IPanelFeedback::getAttributeNumeric(" + id.toString() + "," + attribute + ")");
        value = 42;
        return true;
    }
    bool getAttributeText(UniqueWidgetID const& id, std::string const& attribute, std::string& value) override
    {
        record("IPanelFeedback::getAttributeText(" + id.toString() + "," + attribute + ")");
        value = "driver";
        return true;
    }
    bool trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value) override
    {
        record("IPanelFeedback::trigger(" + id.toString() + "," + event + "," + value + ")");
        return true;
    }

    // IMHLParser
    bool parseWidgetTypes(rtk::Path const& file) override
    {
        record("IMHLParser::parseWidgetTypes(" + file.getString() + ")");
        return succeeds("parseWidgetTypes");
    }
    bool parseModuleTypes(rtk::Path const& file) override
    {
        record("IMHLParser::parseModuleTypes(" + file.getString() + ")");
        return succeeds("parseModuleTypes");
    }
    bool parseModuleMHL(UniqueModuleID const& id, rtk::Path const& base, std::string const& mhlFile) override
    {
        record("IMHLParser::parseModuleMHL(" + id.toString() + "," + base.getString() + "," + mhlFile + ")");
        return succeeds("parseModuleMHL");
    }
    void setPDLInterpreter(IPDLInterpreter* pInterpreter) override
    {
        record(std::string("IMHLParser::setPDLInterpreter(") + (pInterpreter != nullptr ? "ptr" : "null") +
               ")");
        std::lock_guard<std::mutex> guard(g_lock);
        g_pPDLInterpreter = pInterpreter;
    }

    // IWidgetManager
    void setPanelEventInterface(IPanelEvent* pPanelEvent) override
    {
        record(std::string("IWidgetManager::setPanelEventInterface(") +
               (pPanelEvent != nullptr ? "ptr" : "null") + ")");
        std::lock_guard<std::mutex> guard(g_lock);
        g_pPanelEvent = pPanelEvent;
    }
    void setPanelSettingsInterface(IPanelSettings* pPanelSettings) override
    {
        record(std::string("IWidgetManager::setPanelSettingsInterface(") +
               (pPanelSettings != nullptr ? "ptr" : "null") + ")");
    }
    void setModeFlag(bool flag) override
    {
        record(std::string("IWidgetManager::setModeFlag(") + (flag ? "1" : "0") + ")");
    }
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
