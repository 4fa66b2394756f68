#include "virtualpanel.h"

#include "moduledriversimulator.h"
#include "panelfeedbackmanager.h"
#include "panelfunctionsystem.h"
#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlpanelstate.h"
#include "pdlpersistentvarmanager.h"
#include "pdlphysicalwidget.h"

#include "rtk/assert.h"
#include "rtk/module.h"
#include "rtk/thread.h"

#include <interfaces/icolormanager.h>
#include <interfaces/idriverinfo.h>
#include <interfaces/ihwmodulemanager.h>
#include <interfaces/imhlparser.h>
#include <interfaces/imodulemanager.h>
#include <interfaces/ipanelevent.h>
#include <interfaces/ipanelfeedback.h>
#include <interfaces/ipdlinterpreter.h>
#include <interfaces/iwidgetmanager.h>

#include <tinyxml.h>

namespace
{
char const* const s_driverLibraryPath = "bin/libmoduledriver.so";
}

VirtualPanel::VirtualPanel()
    : m_pModuleDriverSystem(nullptr), m_pModuleDriverSimulator(nullptr), m_pPanelFunctionSystem(nullptr),
      m_pDriverInfo(nullptr), m_log("Startup"), m_netConfigWorkplaceID(-1)
{
}

VirtualPanel::~VirtualPanel()
{
    // Its subscriptions go while the panel state is still there.
    m_netConfigInfoListener.deinit();
    IHwModuleManager* pHwModuleManager = getInterface<IHwModuleManager>(m_pModuleDriverSystem);
    RTK_ASSERT(pHwModuleManager);
    pHwModuleManager->setPanelMFDInterface(nullptr);

    // The simulator link outlives the core below: its events must stop reaching the event manager first.
    if (m_pModuleDriverSimulator != nullptr)
    {
        m_pModuleDriverSimulator->stopEvents();
    }
    delete m_pPanelFunctionSystem;
    m_pPanelFunctionSystem = nullptr;
    PanelFunctionSystem::notifyLifecycle("-PanelFunctionSystem");

    delete m_pModuleDriverSystem;
    m_pModuleDriverSystem = nullptr;
    PanelFunctionSystem::notifyLifecycle("-ModuleDriverSystem");

    delete m_pModuleDriverSimulator;
    m_pModuleDriverSimulator = nullptr;

    PanelFeedbackManager::destroyInstance();
    PanelFunctionSystem::notifyLifecycle("-PanelFeedbackManager");
}

IInterface* VirtualPanel::queryInterface(unsigned int id)
{
    switch (id)
    {
    case eIPanelEvent:
    case eIWidgetControl:
    case eIEventManager:
    case eIModuleTest:
    case eIPanelState:
    case eIPSPublisher:
        return m_pPanelFunctionSystem != nullptr ? m_pPanelFunctionSystem->queryInterface(id) : nullptr;
    case eIWidgetManager:
    {
        IWidgetManager* pInterface = getInterface<IWidgetManager>(m_pModuleDriverSystem);
        return pInterface != nullptr ? static_cast<IInterface*>(pInterface) : nullptr;
    }
    case eIHwModuleManager:
    {
        IHwModuleManager* pInterface = getInterface<IHwModuleManager>(m_pModuleDriverSystem);
        return pInterface != nullptr ? static_cast<IInterface*>(pInterface) : nullptr;
    }
    case eIColorManager:
    {
        IColorManager* pInterface = getInterface<IColorManager>(m_pModuleDriverSystem);
        return pInterface != nullptr ? static_cast<IInterface*>(pInterface) : nullptr;
    }
    case eIPanelFeedback:
    {
        // Always the fan-out, never the driver's own feedback.
        if (!PanelFeedbackManager::hasInstance())
        {
            return nullptr;
        }
        return static_cast<IPanelFeedback*>(PanelFeedbackManager::getInstance());
    }
    default:
        // 1005 and 1007 are asked of PanelFunctionSystem directly, 1006 of the driver library.
        return nullptr;
    }
}

bool VirtualPanel::create(EMode mode, std::string const& simulatorAddress)
{
    PDLParseInfo::m_filePath = rtk::Path();
    PDLParseInfo::m_filePath.fixNotFullQualified();
    PDLParseInfo::m_line = 0;

    {
        rtk::ModuleLoader loader;
        m_pModuleDriverSystem = loader.load(rtk::Path(s_driverLibraryPath));
    }
    if (m_pModuleDriverSystem == nullptr)
    {
        m_log.error() << "Can not find \"" << s_driverLibraryPath << "\" library" << std::endl;
        return false;
    }

    m_pPanelFunctionSystem = new PanelFunctionSystem;
    PanelFunctionSystem::notifyLifecycle("+PanelFunctionSystem");

    PanelFeedbackManager* pFeedbackManager = PanelFeedbackManager::createInstance();
    PanelFunctionSystem::notifyLifecycle("+PanelFeedbackManager");
    pFeedbackManager->addIPanelFeedback(getInterface<IPanelFeedback>(m_pModuleDriverSystem));

    // From here on all attribute traffic of the core passes the fan-out.
    m_pPanelFunctionSystem->setPanelFeedbackInterface(getInterface<IPanelFeedback>(this));

    IMHLParser* pMHLParser = getInterface<IMHLParser>(m_pModuleDriverSystem);
    if (pMHLParser != nullptr)
    {
        pMHLParser->setPDLInterpreter(getInterface<IPDLInterpreter>(m_pPanelFunctionSystem));
    }

    IWidgetManager* pIWidgetManager = getInterface<IWidgetManager>(m_pModuleDriverSystem);
    if (pIWidgetManager != nullptr)
    {
        if (mode == eModeHardwareFlagged)
        {
            pIWidgetManager->setModeFlag(true);
        }
        // From now on the hardware may send events.
        pIWidgetManager->setPanelEventInterface(getInterface<IPanelEvent>(this));
    }

    switch (mode)
    {
    case eModeHardware:
    case eModeHardwareFlagged:
        return true;
    case eModeSimulator:
    {
        m_pModuleDriverSimulator =
            new ModuleDriverSimulator(getInterface<IPanelEvent>(this), simulatorAddress.c_str());
        IPanelFeedback* pSimulatorFeedback = getInterface<IPanelFeedback>(m_pModuleDriverSimulator);
        if (pSimulatorFeedback != nullptr)
        {
            pFeedbackManager->addIPanelFeedback(pSimulatorFeedback);
        }
        m_pModuleDriverSimulator->setHwPanelFeedbackInterface(
            getInterface<IPanelFeedback>(m_pModuleDriverSystem));
        // The simulator also learns which modules and controls the core has.
        PDLPhysicalWidgetManager::getInstance()->setObserver(m_pModuleDriverSimulator);
        return true;
    }
    default:
        m_log.error() << "Unsupported virtual panel mode" << std::endl;
        return false;
    }
}

bool VirtualPanel::init(bool exitOnLoadFailure)
{
    IMHLParser* pMHLParser = getInterface<IMHLParser>(m_pModuleDriverSystem);
    RTK_ASSERT(m_pPanelFunctionSystem);
    IModuleManager* pModuleManager = getInterface<IModuleManager>(m_pPanelFunctionSystem);
    IHwModuleManager* pHwModuleManager = getInterface<IHwModuleManager>(m_pModuleDriverSystem);
    if (pMHLParser == nullptr || pModuleManager == nullptr)
    {
        return false;
    }

    PDLEventManager* pEventManager = PDLEventManager::getInstance();
    pEventManager->setExitOnLoadFailure(exitOnLoadFailure);
    pEventManager->setMHLParser(pMHLParser);

    m_log.info() << "Parsing Widget Type file..." << std::endl;
    if (!pMHLParser->parseWidgetTypes(rtk::Path("config/WidgetTypes.xml")))
    {
        return false;
    }
    m_log.info() << "Parsing Module Types file..." << std::endl;
    if (!pMHLParser->parseModuleTypes(rtk::Path("config/ModuleTypes.xml")))
    {
        return false;
    }
    m_log.info() << "Parsing Delegation Type file..." << std::endl;
    if (!parseDelegationTypeFile(rtk::Path("config/DelegationTypes.xml")))
    {
        return false;
    }
    if (!m_moduleConfigOverride.isEmpty())
    {
        m_log.info() << "Parsing Module Configuration Override file..." << std::endl;
        RTK_ASSERT(pHwModuleManager);
        if (!pHwModuleManager->parseModuleConfigOverride(m_moduleConfigOverride))
        {
            return false;
        }
    }
    m_log.info() << "Widget, Module, and Delegation files OK" << std::endl;
    return true;
}

namespace
{
void logDelegationParseError(Orvane::Utilities::Logging::LogCategory& log, rtk::Path const& path, int row)
{
    log.error() << "Parse error in \"" << path.getString() << "\" line " << row << std::endl;
}

// One delegation_type element with all its descendants; null after a logged error. path serves the
// messages only. TinyXML's Row() and ErrorRow() already count from 1.
PDLDelegationType* parseDelegationType(Orvane::Utilities::Logging::LogCategory& log, rtk::Path const& path,
                                       TiXmlNode* pNode)
{
    TiXmlDocument* pDoc = pNode->GetDocument();
    RTK_ASSERT(pDoc);

    PDLDelegationType* pType = new PDLDelegationType;
    TiXmlElement* pElement = pNode->ToElement();
    for (TiXmlAttribute* pAttribute = pElement != nullptr ? pElement->FirstAttribute() : nullptr;
         pAttribute != nullptr; pAttribute = pAttribute->Next())
    {
        std::string const name = pAttribute->Name();
        if (name == "name")
        {
            pType->m_name = pAttribute->ValueStr();
        }
        else if (name == "slots")
        {
            int slots = 0;
            if (pAttribute->QueryIntValue(&slots) != TIXML_SUCCESS)
            {
                // The document holds no error here, so its error row is that of a clean load.
                logDelegationParseError(log, path, pDoc->ErrorRow());
                delete pType;
                return nullptr;
            }
            pType->m_slots = slots;
        }
    }

    for (TiXmlNode* pChild = pNode->FirstChild(); pChild != nullptr; pChild = pChild->NextSibling())
    {
        if (pChild->ToElement() == nullptr)
        {
            logDelegationParseError(log, path, pChild->Row());
            delete pType;
            return nullptr;
        }
        PDLDelegationType* pChildType = parseDelegationType(log, path, pChild);
        if (pChildType == nullptr)
        {
            delete pType;
            return nullptr;
        }
        pType->m_children.push_back(pChildType);
    }
    return pType;
}
} // namespace

bool VirtualPanel::parseDelegationTypeFile(rtk::Path const& path)
{
    TiXmlDocument doc(path.getString());
    if (!doc.LoadFile())
    {
        m_log.error() << "Failed to open \"" << path.getString() << "\"" << std::endl;
        return false;
    }

    // Comments and a declaration ahead of the root element are skipped.
    TiXmlElement* pRoot = doc.FirstChildElement();
    if (pRoot == nullptr || pRoot->ValueStr() != "delegation_type_description")
    {
        // Without any element the row is -1, printed one higher like every row.
        logDelegationParseError(m_log, path, pRoot != nullptr ? pRoot->Row() : 0);
        return false;
    }

    PDLPanelState* pPanelState = PDLPanelState::getInstance();
    for (TiXmlNode* pNode = pRoot->FirstChild(); pNode != nullptr; pNode = pNode->NextSibling())
    {
        // Only delegation_type elements may stand here; a comment is an error as well.
        if (pNode->ToElement() == nullptr || pNode->ValueStr() != "delegation_type")
        {
            logDelegationParseError(m_log, path, pNode->Row());
            return false;
        }
        PDLDelegationType* pType = parseDelegationType(m_log, path, pNode);
        if (pType == nullptr)
        {
            return false;
        }
        // Types added before a later error stay added.
        pPanelState->addDeviceDefinition(pType);
    }
    return true;
}

bool VirtualPanel::readWorkplaceConfig(std::string const& file, bool testMode)
{
    if (file.empty())
    {
        return true;
    }
    TiXmlDocument doc(file);
    if (!doc.LoadFile())
    {
        m_log.error() << "Failed to open \"" << file << "\" ('" << doc.ErrorDesc() << "')" << std::endl;
        return false;
    }
    // TinyXML's rows count from 1 already; a missing node is row 0.
    auto parseError = [this, &file](TiXmlNode const* pNode)
    {
        m_log.error() << "Parse error in \"" << file << "\" line " << (pNode != nullptr ? pNode->Row() : 0)
                      << std::endl;
        return false;
    };

    TiXmlElement* pRoot = doc.FirstChildElement();
    if (pRoot == nullptr || pRoot->ValueStr() != "workplaces")
    {
        return parseError(pRoot);
    }
    IHwModuleManager* pHwModuleManager = getInterface<IHwModuleManager>(m_pModuleDriverSystem);
    RTK_ASSERT(pHwModuleManager);
    PDLEventManager* pEventManager = PDLEventManager::getInstance();

    bool first = true;
    for (TiXmlNode* pNode = pRoot->FirstChild(); pNode != nullptr; pNode = pNode->NextSibling())
    {
        TiXmlElement* pWorkplace = pNode->ToElement();
        if (pWorkplace == nullptr || pWorkplace->ValueStr() != "workplace")
        {
            return parseError(pNode);
        }
        int id = -1;
        for (TiXmlAttribute* pAttribute = pWorkplace->FirstAttribute(); pAttribute != nullptr;
             pAttribute = pAttribute->Next())
        {
            if (std::string(pAttribute->Name()) == "id")
            {
                id = pAttribute->IntValue();
            }
        }
        // Compared unsigned, so a negative id is out of range as well.
        if (static_cast<unsigned int>(id) > 7)
        {
            m_log.error() << "Workplace ID missing or invalid in \"" << file << "\" line " << pWorkplace->Row()
                          << std::endl;
            return false;
        }

        int count = 0;
        for (TiXmlNode* pChild = pWorkplace->FirstChild(); pChild != nullptr; pChild = pChild->NextSibling())
        {
            TiXmlElement* pElement = pChild->ToElement();
            if (pElement == nullptr)
            {
                return parseError(pChild);
            }
            if (pElement->ValueStr() == "ports")
            {
                TiXmlText const* pText = pElement->FirstChild() != nullptr ? pElement->FirstChild()->ToText() : nullptr;
                if (!pHwModuleManager->setPorts(id, pText != nullptr ? pText->ValueStr() : std::string()))
                {
                    return false;
                }
            }
            else if (pElement->ValueStr() == "mainframeDriver")
            {
                char const* pDriverID = pElement->Attribute("driverID");
                char const* pDriverType = pElement->Attribute("driverType");
                if (pDriverID == nullptr || *pDriverID == '\0' || pDriverType == nullptr || *pDriverType == '\0')
                {
                    m_log.error() << "DriverID or driverType missing in \"" << file << "\" line "
                                  << pElement->Row() << std::endl;
                    return false;
                }
                // Only the first driver of a workplace counts; a further one is checked and ignored.
                if (count == 0)
                {
                    std::string const name = testMode ? std::string("moduleTest") : m_pDriverInfo->getPDLName(pDriverType);
                    pEventManager->setDefaultPDLName(id, name);
                    if (first)
                    {
                        // The network configuration listener serves the file's first mainframe driver.
                        m_netConfigWorkplaceID = id;
                        m_netConfigDriverID = pDriverID;
                        m_netConfigInfoListener.init(id, pDriverID);
                        first = false;
                    }
                }
                ++count;
            }
        }
    }
    return true;
}

void VirtualPanel::setFunctionIDInterface(IFunctionID* pFunctionID) const
{
    RTK_ASSERT(m_pPanelFunctionSystem);
    m_pPanelFunctionSystem->setFunctionIDInterface(pFunctionID);
}

void VirtualPanel::setMacroSystemInterface(IMacroSystem* pMacroSystem) const
{
    RTK_ASSERT(m_pPanelFunctionSystem);
    m_pPanelFunctionSystem->setMacroSystemInterface(pMacroSystem);
}

void VirtualPanel::setPanelSettingsInterface(IPanelSettings* pPanelSettings) const
{
    RTK_ASSERT(m_pModuleDriverSystem);
    IWidgetManager* pIWidgetManager = getInterface<IWidgetManager>(m_pModuleDriverSystem);
    RTK_ASSERT(pIWidgetManager);
    pIWidgetManager->setPanelSettingsInterface(pPanelSettings);
}

void VirtualPanel::setPanelMFDInterface(IPanelMFD* pPanelMFD) const
{
    RTK_ASSERT(m_pModuleDriverSystem);
    IHwModuleManager* pHwModuleManager = getInterface<IHwModuleManager>(m_pModuleDriverSystem);
    RTK_ASSERT(pHwModuleManager);
    pHwModuleManager->setPanelMFDInterface(pPanelMFD);
    IColorManager* pColorManager = getInterface<IColorManager>(m_pModuleDriverSystem);
    RTK_ASSERT(pColorManager);
    pColorManager->setPanelMFDInterface(pPanelMFD);
}

void VirtualPanel::setDriverInfoInterface(IDriverInfo* pDriverInfo)
{
    m_pDriverInfo = pDriverInfo;
}

void VirtualPanel::setModuleConfigOverride(rtk::Path const& path)
{
    m_moduleConfigOverride = path;
}

void VirtualPanel::startHardwareUpdate()
{
    RTK_ASSERT(m_pModuleDriverSystem);
    IHwModuleManager* pHwModuleManager = getInterface<IHwModuleManager>(m_pModuleDriverSystem);
    RTK_ASSERT(pHwModuleManager);
    pHwModuleManager->startHardwareUpdate();
    // Starts the persistent variable thread.
    PDLPersistentVarManager::getInstance()->cleanup();
    m_netConfigInfoListener.start();
}

void VirtualPanel::stopHardwareUpdate()
{
    RTK_ASSERT(m_pPanelFunctionSystem);
    m_pPanelFunctionSystem->deinit();
    // Gives the hardware time to show the defaults before it stops; the pause is fixed.
    rtk::Thread::mssleep(350);
    RTK_ASSERT(m_pModuleDriverSystem);
    IHwModuleManager* pHwModuleManager = getInterface<IHwModuleManager>(m_pModuleDriverSystem);
    RTK_ASSERT(pHwModuleManager);
    pHwModuleManager->stopHardwareUpdate();
}

void VirtualPanel::startDiagnosis()
{
    RTK_ASSERT(m_pModuleDriverSystem);
    IHwModuleManager* pHwModuleManager = getInterface<IHwModuleManager>(m_pModuleDriverSystem);
    RTK_ASSERT(pHwModuleManager);
    pHwModuleManager->startDiagnosis();
}

void VirtualPanel::stopDiagnosis()
{
    RTK_ASSERT(m_pModuleDriverSystem);
    IHwModuleManager* pHwModuleManager = getInterface<IHwModuleManager>(m_pModuleDriverSystem);
    RTK_ASSERT(pHwModuleManager);
    pHwModuleManager->stopDiagnosis();
}

void VirtualPanel::startRCLPListener()
{
    RTK_ASSERT(m_pPanelFunctionSystem);
    m_pPanelFunctionSystem->startRCLPListener();
}

void VirtualPanel::stopRCLPListener()
{
    RTK_ASSERT(m_pPanelFunctionSystem);
    m_pPanelFunctionSystem->stopRCLPListener();
}

void VirtualPanel::setInterpreterLogLevel(int level)
{
    PDLInterpreter::s_logLevel = level;
}

void VirtualPanel::releaseMutex()
{
    PDLInterpreter::mutexGive();
}
