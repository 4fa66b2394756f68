#include "moduledriver.h"

#include "rtk/file.h"
#include "rtk/module.h"
#include "rtk/path.h"

#include <interfaces/ipanelevent.h>
#include <interfaces/ipdlinterpreter.h>

#include <iostream>
#include <sstream>

namespace hwsim
{
HwReporter::HwReporter() : rtk::Thread("HwReporter"), m_busy(false), m_stop(false) {}

HwReporter::~HwReporter()
{
    shutdown(-1);
}

void HwReporter::post(std::function<void()> const& report)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_queue.push_back(report);
    m_wake.notify_one();
}

bool HwReporter::isIdle()
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_queue.empty() && !m_busy;
}

void HwReporter::run()
{
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;)
    {
        m_wake.wait(lock, [this] { return m_stop || !m_queue.empty(); });
        if (m_stop)
        {
            // What was not delivered is dropped: the hardware has stopped.
            m_queue.clear();
            return;
        }
        std::function<void()> const report = m_queue.front();
        m_queue.pop_front();
        m_busy = true;
        lock.unlock();
        report();
        lock.lock();
        m_busy = false;
    }
}

bool HwReporter::shutdownCallback()
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_stop = true;
    m_wake.notify_one();
    return true;
}

namespace
{
// Reads "W G M" from the first three arguments of a command.
bool parsePosition(rtk::CmdParameters const& params, UniqueModuleID& id)
{
    int workplace = 0;
    int group = 0;
    int module = 0;
    if (!parseInt(params.get(0), workplace) || !parseInt(params.get(1), group) ||
        !parseInt(params.get(2), module) || workplace < 0 || workplace > 7 || group < 0 || group > 31 ||
        module < 0 || module > 255)
    {
        std::cout << params.getName() << ": bad module position \"" << params.get(0) << " " << params.get(1)
                  << " " << params.get(2) << "\"" << std::endl;
        return false;
    }
    id = UniqueModuleID(static_cast<uint16_t>(workplace), static_cast<uint16_t>(group),
                        static_cast<uint16_t>(module));
    return true;
}

bool parseWidgetNumber(rtk::CmdParameters const& params, size_t index, uint16_t& widget)
{
    int number = 0;
    if (!parseInt(params.get(index), number) || number < 1 || number > 65535)
    {
        std::cout << params.getName() << ": bad widget number \"" << params.get(index) << "\"" << std::endl;
        return false;
    }
    widget = static_cast<uint16_t>(number);
    return true;
}

std::string directoryOf(std::string const& file)
{
    size_t const slash = file.rfind('/');
    return slash == std::string::npos ? std::string() : file.substr(0, slash + 1);
}
} // namespace

ModuleDriver::ModuleDriver()
    : m_pPanelEvent(nullptr), m_pInterpreter(nullptr), m_pPanelSettings(nullptr), m_pPanelMFD(nullptr),
      m_modeFlag(false), m_diagnosis(false), m_started(false)
{
    rtk::CmdProcessor* pShell = rtk::CmdProcessor::getInstance();
    pShell->registerCmd("hwList",
                        "hwList\n\tlist the plugged modules: position, port, connector, type, version", this,
                        &ModuleDriver::shellCmdList);
    pShell->registerCmd("hwPlug", "hwPlug W G M TYPE [VERSION]\n\tplug a module of TYPE in at W.G.M", this,
                        &ModuleDriver::shellCmdPlug);
    pShell->registerCmd("hwUnplug", "hwUnplug W G M\n\tunplug the module at W.G.M", this,
                        &ModuleDriver::shellCmdUnplug);
    pShell->registerCmd(
        "hwEvent", "hwEvent W G M WIDGET NAME [VALUE [transient]]\n\tsend a control event from the hardware",
        this, &ModuleDriver::shellCmdEvent);
    pShell->registerCmd("hwShow", "hwShow W G M [WIDGET]\n\tshow the attributes of a module or of one widget",
                        this, &ModuleDriver::shellCmdShow);
}

ModuleDriver::~ModuleDriver()
{
    rtk::CmdProcessor::getInstance()->unregisterOwner(this);
    m_reporter.shutdown(-1);
}

IInterface* ModuleDriver::queryInterface(unsigned int id)
{
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
    case IHwSimulation::s_interfaceID:
        return static_cast<IHwSimulation*>(this);
    default:
        return nullptr;
    }
}

// --- IHwModuleManager ---

bool ModuleDriver::parseModuleConfigOverride(rtk::Path const& file)
{
    std::vector<InventoryEntry> overrides;
    if (!m_model.readInventory(file.getString(), overrides))
    {
        return false;
    }
    // An override entry replaces the module on the same port and connector, or adds one.
    std::vector<InventoryEntry> merged = m_inventory;
    for (InventoryEntry const& entry : overrides)
    {
        bool replaced = false;
        for (InventoryEntry& existing : merged)
        {
            if (existing.m_port == entry.m_port && existing.m_connector == entry.m_connector)
            {
                existing = entry;
                replaced = true;
            }
        }
        if (!replaced)
        {
            merged.push_back(entry);
        }
    }
    for (size_t i = 0; i < merged.size(); ++i)
    {
        for (size_t j = 0; j < i; ++j)
        {
            if (merged[i].m_workplace == merged[j].m_workplace && merged[i].m_group == merged[j].m_group &&
                merged[i].m_module == merged[j].m_module)
            {
                std::cerr << file.getString() << "(" << merged[i].m_line << "): two modules at "
                          << UniqueModuleID(merged[i].m_workplace, merged[i].m_group, merged[i].m_module)
                          << std::endl;
                return false;
            }
        }
    }
    m_inventory.swap(merged);
    return true;
}

bool ModuleDriver::setPorts(int workplaceID, std::string const& ports)
{
    if (workplaceID < 0 || workplaceID > 7)
    {
        std::cerr << "setPorts: workplace " << workplaceID << " out of range" << std::endl;
        return false;
    }
    std::map<int, int> moved;
    std::stringstream stream(ports);
    std::string item;
    while (std::getline(stream, item, ','))
    {
        size_t const first = item.find_first_not_of(" \t\r\n");
        size_t const last = item.find_last_not_of(" \t\r\n");
        std::string const trimmed =
            first == std::string::npos ? std::string() : item.substr(first, last - first + 1);
        int port = 0;
        if (!parseInt(trimmed, port) || port < 0)
        {
            std::cerr << "setPorts: bad port list \"" << ports << "\" for workplace " << workplaceID
                      << std::endl;
            return false;
        }
        moved[port] = workplaceID;
    }
    std::lock_guard<std::mutex> guard(m_lock);
    for (auto const& entry : moved)
    {
        m_portWorkplace[entry.first] = entry.second;
    }
    return true;
}

void ModuleDriver::startHardwareUpdate()
{
    std::map<int, int> portWorkplace;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        if (m_started)
        {
            return;
        }
        m_started = true;
        portWorkplace = m_portWorkplace;
    }
    for (InventoryEntry const& entry : m_inventory)
    {
        auto moved = portWorkplace.find(entry.m_port);
        int const workplace = moved != portWorkplace.end() ? moved->second : entry.m_workplace;
        UniqueModuleID const id(static_cast<uint16_t>(workplace), static_cast<uint16_t>(entry.m_group),
                                static_cast<uint16_t>(entry.m_module));
        if (m_model.isPlugged(id))
        {
            std::cerr << "Hardware: port " << entry.m_port << " connector " << entry.m_connector
                      << " moved onto the occupied position " << id << "; left out" << std::endl;
            continue;
        }
        PluggedModule module;
        module.m_port = entry.m_port;
        module.m_connector = entry.m_connector;
        module.m_type = entry.m_type;
        module.m_version = entry.m_version;
        m_model.plug(id, module);
        postStatus(id, module);
    }
    m_reporter.start(rtk::Thread::ePriorityHigh);
}

void ModuleDriver::stopHardwareUpdate()
{
    m_reporter.shutdown(-1);
}

void ModuleDriver::setPanelMFDInterface(IPanelMFD* pPanelMFD)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_pPanelMFD = pPanelMFD;
}

void ModuleDriver::startDiagnosis()
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_diagnosis = true;
}

void ModuleDriver::stopDiagnosis()
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_diagnosis = false;
}

// --- IPanelFeedback ---

IPanelFeedback::EWidgetParameterType ModuleDriver::getAttributeParamType(UniqueWidgetID const& id,
                                                                         std::string const& attribute)
{
    return m_model.getAttributeType(id, attribute);
}

IPanelFeedback::EWidgetParameterType ModuleDriver::getReceiveEventParamType(UniqueWidgetID const& id,
                                                                            std::string const& event)
{
    return m_model.getReceiveEventType(id, event);
}

void ModuleDriver::setAllAttributesToDefault(UniqueWidgetID const& id)
{
    m_model.setDefaults(id);
}

bool ModuleDriver::setAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool value)
{
    return m_model.setAttribute(id, attribute, eParamTypeBool, value ? "true" : "false");
}

bool ModuleDriver::setAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int value)
{
    return m_model.setAttribute(id, attribute, eParamTypeNumeric, std::to_string(value));
}

bool ModuleDriver::setAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                                    std::string const& value)
{
    return m_model.setAttribute(id, attribute, eParamTypeText, value);
}

bool ModuleDriver::getAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool& value)
{
    std::string text;
    if (!m_model.getAttribute(id, attribute, eParamTypeBool, text))
    {
        return false;
    }
    value = text == "true";
    return true;
}

bool ModuleDriver::getAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int& value)
{
    std::string text;
    if (!m_model.getAttribute(id, attribute, eParamTypeNumeric, text))
    {
        return false;
    }
    return parseInt(text, value);
}

bool ModuleDriver::getAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                                    std::string& value)
{
    return m_model.getAttribute(id, attribute, eParamTypeText, value);
}

bool ModuleDriver::trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value)
{
    return m_model.trigger(id, event, value);
}

// --- IMHLParser ---

bool ModuleDriver::parseWidgetTypes(rtk::Path const& file)
{
    return m_model.readWidgetTypes(file.getString());
}

bool ModuleDriver::parseModuleTypes(rtk::Path const& file)
{
    if (!m_model.readModuleTypes(file.getString()))
    {
        return false;
    }
    std::string const inventory = directoryOf(file.getString()) + "Hardware.xml";
    if (!rtk::File::exist(rtk::Path(inventory)))
    {
        m_inventory.clear();
        return true;
    }
    return m_model.readInventory(inventory, m_inventory);
}

bool ModuleDriver::parseModuleMHL(UniqueModuleID const& id, rtk::Path const& base, std::string const& mhlFile)
{
    // base is absolute: the core may have changed the working directory meanwhile.
    std::string const file = (base + mhlFile).getString();
    PluggedModule plugged;
    std::string const expectedType = m_model.getPlugged(id, plugged) ? plugged.m_type : std::string();
    std::string moduleType;
    std::vector<uint16_t> widgets;
    if (!m_model.readMHL(file, expectedType, moduleType, widgets) ||
        !m_model.ensureWidgets(id, moduleType, widgets))
    {
        return false;
    }
    IPDLInterpreter* pInterpreter = nullptr;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        pInterpreter = m_pInterpreter;
    }
    if (pInterpreter != nullptr)
    {
        for (uint16_t widget : widgets)
        {
            pInterpreter->addWidget(UniqueWidgetID(id, widget));
        }
    }
    return true;
}

void ModuleDriver::setPDLInterpreter(IPDLInterpreter* pInterpreter)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_pInterpreter = pInterpreter;
}

// --- IWidgetManager ---

void ModuleDriver::setPanelEventInterface(IPanelEvent* pPanelEvent)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_pPanelEvent = pPanelEvent;
}

void ModuleDriver::setPanelSettingsInterface(IPanelSettings* pPanelSettings)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_pPanelSettings = pPanelSettings;
}

void ModuleDriver::setModeFlag(bool flag)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_modeFlag = flag;
}

// --- IHwSimulation ---

bool ModuleDriver::isIdle()
{
    return m_reporter.isIdle();
}

// --- the simulated hardware ---

IPanelEvent* ModuleDriver::getPanelEvent()
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_pPanelEvent;
}

void ModuleDriver::postStatus(UniqueModuleID const& id, PluggedModule const& module)
{
    // The report asks for the core's interface when it runs, never holding a lock of the driver while
    // the core works: the core calls back into the model.
    m_reporter.post(
        [this, id, module]()
        {
            IPanelEvent* pPanelEvent = getPanelEvent();
            if (pPanelEvent != nullptr)
            {
                pPanelEvent->updateModuleStatus(id, module.m_port, module.m_connector, module.m_type,
                                                module.m_version);
            }
        });
}

bool ModuleDriver::plugModule(UniqueModuleID const& id, PluggedModule const& module)
{
    if (!m_model.hasModuleType(module.m_type))
    {
        return false;
    }
    unplugModule(id);
    m_model.plug(id, module);
    postStatus(id, module);
    return true;
}

bool ModuleDriver::unplugModule(UniqueModuleID const& id)
{
    if (!m_model.unplug(id))
    {
        return false;
    }
    postStatus(id, PluggedModule());
    return true;
}

bool ModuleDriver::sendControlEvent(UniqueWidgetID const& id, std::string const& name, int value,
                                    bool transient)
{
    if (!m_model.hasWidget(id))
    {
        return false;
    }
    m_reporter.post(
        [this, id, name, value, transient]()
        {
            IPanelEvent* pPanelEvent = getPanelEvent();
            if (pPanelEvent != nullptr)
            {
                pPanelEvent->sendEvent(id, name, value, transient);
            }
        });
    return true;
}

// --- shell ---

bool ModuleDriver::shellCmdList(rtk::CmdParameters& /*params*/)
{
    std::vector<std::pair<UniqueModuleID, PluggedModule>> const modules = m_model.getPluggedModules();
    if (modules.empty())
    {
        std::cout << "no modules plugged" << std::endl;
        return true;
    }
    for (auto const& entry : modules)
    {
        std::cout << entry.first << " port=" << entry.second.m_port
                  << " connector=" << entry.second.m_connector << " type=" << entry.second.m_type
                  << " version=" << entry.second.m_version << std::endl;
    }
    return true;
}

bool ModuleDriver::shellCmdPlug(rtk::CmdParameters& params)
{
    if (params.getCount() < 4 || params.getCount() > 5)
    {
        std::cout << "Usage: hwPlug W G M TYPE [VERSION]" << std::endl;
        return false;
    }
    UniqueModuleID id;
    if (!parsePosition(params, id))
    {
        return false;
    }
    PluggedModule module;
    module.m_type = params.get(3);
    module.m_version = params.get(4);
    if (!plugModule(id, module))
    {
        std::cout << "hwPlug: unknown module type \"" << module.m_type << "\"" << std::endl;
        return false;
    }
    return true;
}

bool ModuleDriver::shellCmdUnplug(rtk::CmdParameters& params)
{
    if (params.getCount() != 3)
    {
        std::cout << "Usage: hwUnplug W G M" << std::endl;
        return false;
    }
    UniqueModuleID id;
    if (!parsePosition(params, id))
    {
        return false;
    }
    if (!unplugModule(id))
    {
        std::cout << "hwUnplug: no module at " << id << std::endl;
        return false;
    }
    return true;
}

bool ModuleDriver::shellCmdEvent(rtk::CmdParameters& params)
{
    size_t const count = params.getCount();
    if (count < 5 || count > 7 || (count == 7 && params.get(6) != "transient"))
    {
        std::cout << "Usage: hwEvent W G M WIDGET NAME [VALUE [transient]]" << std::endl;
        return false;
    }
    UniqueModuleID id;
    uint16_t widget = 0;
    if (!parsePosition(params, id) || !parseWidgetNumber(params, 3, widget))
    {
        return false;
    }
    int value = 0;
    if (count >= 6 && !parseInt(params.get(5), value))
    {
        std::cout << "hwEvent: bad value \"" << params.get(5) << "\"" << std::endl;
        return false;
    }
    if (!m_model.isPlugged(id))
    {
        std::cout << "hwEvent: no module at " << id << std::endl;
        return false;
    }
    if (!sendControlEvent(UniqueWidgetID(id, widget), params.get(4), value, count == 7))
    {
        std::cout << "hwEvent: module " << id << " has no widget " << widget << std::endl;
        return false;
    }
    return true;
}

bool ModuleDriver::shellCmdShow(rtk::CmdParameters& params)
{
    if (params.getCount() < 3 || params.getCount() > 4)
    {
        std::cout << "Usage: hwShow W G M [WIDGET]" << std::endl;
        return false;
    }
    UniqueModuleID id;
    uint16_t widget = 0;
    if (!parsePosition(params, id) || (params.getCount() == 4 && !parseWidgetNumber(params, 3, widget)))
    {
        return false;
    }
    if (!m_model.hasRecords(id))
    {
        std::cout << "hwShow: no module at " << id << std::endl;
        return false;
    }
    if (widget != 0 && !m_model.hasRecord(UniqueWidgetID(id, widget)))
    {
        std::cout << "hwShow: module " << id << " has no widget " << widget << std::endl;
        return false;
    }
    for (std::string const& line : m_model.show(id, widget))
    {
        std::cout << line << std::endl;
    }
    return true;
}
} // namespace hwsim

extern "C" __attribute__((visibility("default"))) IInterface* RTK_MODULE_ENTRY()
{
    return new hwsim::ModuleDriver;
}
