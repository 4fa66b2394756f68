#ifndef PDLINTERPRETER_H
#define PDLINTERPRETER_H

// PDLInterpreter: the interpreter object the driver library's MHL parser talks to, and the owner of
// the interpreter mutex that makes all PDL single-threaded.

#include "rtk/semaphore.h"

#include <interfaces/ipdlinterpreter.h>

class PDLDebugger;

class PDLInterpreter : public IPDLInterpreter
{
public:
    // Takes the interpreter mutex on the calling thread; it stays held until that thread gives it
    // (VirtualPanel::releaseMutex).
    PDLInterpreter();
    ~PDLInterpreter() override;

    IInterface* queryInterface(unsigned int id) override;

    // Announces a control of a module; handed on to PDLPhysicalWidgetManager.
    void addWidget(UniqueWidgetID const& id) override;

    // On a thread that runs a shell command, a mutex that is not free may be held by a thread stopped at
    // a breakpoint, which only the shell can release: the take then lets the stop go first and keeps
    // further stops off until the command's last give.
    static void mutexTake();
    static void mutexGive();

    // The interpreter mutex; usable from static initialisation on, and recursive for its owner.
    static rtk::MutexSemaphore s_mutex;
    // The level given to the log output "PDLInterpreter" when it is first fetched.
    static int s_logLevel;

protected:
    // The debugger's shell commands; created with the interpreter.
    PDLDebugger* m_pDebugger;

private:
    PDLInterpreter(PDLInterpreter const&) = delete;
    PDLInterpreter& operator=(PDLInterpreter const&) = delete;
};

#endif
