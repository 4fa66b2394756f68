#ifndef NETCONFIGINFOLISTENER_H
#define NETCONFIGINFOLISTENER_H

// NetConfigInfoListener: mirrors what the mainframe tells about itself into small side files for the
// panel's network services: the mainframe's name and chassis type below SYSTEM_FILE_PATH, and the
// panel's model (the number of logic boards seen, followed by "ME") in data/PANEL/panelmodel.txt below
// the working directory. It follows the panel state entries of the first mainframe driver of the
// workplace configuration. Errors of the file writes are not looked at: a missing directory costs the
// file and nothing else.

#include "pdlpanelstate.h"

#include <cstdint>
#include <string>

class FIDPatternHelper;

class NetConfigInfoListener : public PDLStateSubscriber
{
public:
    // The directory of the two network files.
    static char const* const SYSTEM_FILE_PATH;

    NetConfigInfoListener();
    ~NetConfigInfoListener() override;

    // Points the listener at a mainframe driver: its ".SYSTEM.NAME" and ".SYSTEM.TYPE" entries and the
    // logic boards of the workplace. Drops the subscriptions of an earlier init first.
    void init(int workplaceID, std::string const& driverID);
    // Subscribes and writes the files once; nothing before init.
    void start();
    // Drops the subscriptions; nothing before init.
    void deinit();

    // PDLStateSubscriber: called by the main loop, with the interpreter mutex held.
    void update() override;
    std::string getDescription(int id) const override;
    // A logic board that appears later is subscribed to and counted.
    void checkNewStateEntry(std::string const& fid) override;

    // Where the two network files go; SYSTEM_FILE_PATH unless a host or a test says otherwise.
    void setSystemFilePath(std::string const& directory) { m_systemFilePath = directory; }

protected:
    PDLStateSubscriberKey key() { return PDLStateSubscriberKey(this, 0); }
    static void writeFile(rtk::Path const& path, std::string const& text);

    std::string m_nameFID;
    std::string m_typeFID;
    FIDPatternHelper* m_pModulePattern;
    std::string m_lastName;
    std::string m_lastType;
    uint32_t m_moduleCount;
    std::string m_systemFilePath;

private:
    NetConfigInfoListener(NetConfigInfoListener const&) = delete;
    NetConfigInfoListener& operator=(NetConfigInfoListener const&) = delete;
};

#endif
