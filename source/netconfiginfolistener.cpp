#include "netconfiginfolistener.h"

#include "rtk/file.h"
#include "rtk/path.h"

#include <basekit/fidhelper.h>

#include <memory>

char const* const NetConfigInfoListener::SYSTEM_FILE_PATH = "/app/NetConfig/";

NetConfigInfoListener::NetConfigInfoListener()
    : m_pModulePattern(nullptr), m_lastName("(init)"), m_moduleCount(0), m_systemFilePath(SYSTEM_FILE_PATH)
{
}

NetConfigInfoListener::~NetConfigInfoListener()
{
    delete m_pModulePattern;
}

void NetConfigInfoListener::init(int workplaceID, std::string const& driverID)
{
    deinit();
    m_nameFID = driverID + ".SYSTEM.NAME";
    m_typeFID = driverID + ".SYSTEM.TYPE";
    delete m_pModulePattern;
    m_pModulePattern =
        new FIDPatternHelper("PANEL.MODULE." + std::to_string(workplaceID) + ".[GRP:1-9].11.LOGICBOARD.ID");
}

void NetConfigInfoListener::start()
{
    if (m_pModulePattern == nullptr || !PDLPanelState::hasInstance())
    {
        return;
    }
    PDLPanelState* pState = PDLPanelState::getInstance();
    pState->subscribe(m_nameFID, key());
    pState->subscribe(m_typeFID, key());
    pState->subscribeWildcard(*m_pModulePattern, key());
    // The files are right from the start, without waiting for a change.
    update();
}

void NetConfigInfoListener::deinit()
{
    if (m_pModulePattern == nullptr || !PDLPanelState::hasInstance())
    {
        return;
    }
    PDLPanelState* pState = PDLPanelState::getInstance();
    pState->unsubscribe(m_nameFID, key());
    pState->unsubscribe(m_typeFID, key());
    pState->unsubscribeWildcard(*m_pModulePattern, key());
}

void NetConfigInfoListener::checkNewStateEntry(std::string const& fid)
{
    if (m_pModulePattern != nullptr && m_pModulePattern->matches(FIDHelper(fid)))
    {
        PDLPanelState::getInstance()->subscribeWildcard(*m_pModulePattern, key());
        update();
    }
}

std::string NetConfigInfoListener::getDescription(int /*id*/) const
{
    return "NetConfig Info Listener";
}

void NetConfigInfoListener::update()
{
    if (!PDLPanelState::hasInstance())
    {
        return;
    }
    PDLPanelState* pState = PDLPanelState::getInstance();

    std::string const name = pState->getValue(m_nameFID, false).getString();
    if (name != m_lastName)
    {
        m_lastName = name.empty() ? "SystemA" : name;
        writeFile(rtk::Path(m_systemFilePath + "sysname.txt"), m_lastName);
    }

    // The chassis letter at the end of the type text names the chassis; tested once, in this order.
    std::string type = pState->getValue(m_typeFID, false).getString();
    if (!type.empty())
    {
        switch (type.back())
        {
        case 'M':
            type.pop_back();
            break;
        case 'K':
            type = "T-RACK";
            break;
        case 'S':
            type = "T-RACK Alpha";
            break;
        case 'V':
            type = "T-RACK Beta";
            break;
        case 'X':
            type = "Rack One";
            break;
        case 'P':
            type = "Rack One Plus";
            break;
        default:
            break;
        }
    }
    if (!(type.empty() && m_lastType.empty()) && type != m_lastType)
    {
        m_lastType = type.empty() ? "Bristel" : type;
        writeFile(rtk::Path(m_systemFilePath + "systype.txt"), m_lastType);
    }

    if (m_pModulePattern == nullptr)
    {
        return;
    }
    std::unique_ptr<PDLStateValueList> const pBoards(pState->getValueWildcard(*m_pModulePattern));
    uint32_t const count = pBoards != nullptr ? static_cast<uint32_t>(pBoards->size()) : 0;
    // The model only grows during a run: a board that goes away does not change it.
    if (count > m_moduleCount)
    {
        m_moduleCount = count;
        writeFile(rtk::Path::getCurrentDirectory() + "data" + "PANEL" + "panelmodel.txt",
                  std::to_string(m_moduleCount) + "ME");
    }
}

void NetConfigInfoListener::writeFile(rtk::Path const& path, std::string const& text)
{
    rtk::File file;
    if (file.open(path, rtk::File::eModeWriteReplace))
    {
        file.write(text);
        file.close();
    }
}
