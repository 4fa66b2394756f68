#ifndef PDLPERSISTENTVARMANAGER_H
#define PDLPERSISTENTVARMANAGER_H

// PDLPersistentVarManager: keeps PDL variables marked persistent in a section of non-volatile memory.

#include "rtk/singleton.h"

#include "pdlvariant.h"

#include <basekit/uniqueids.h>

#include <string>

class PDLPersistentVarManager : public rtk::Singleton<PDLPersistentVarManager>
{
public:
    PDLPersistentVarManager();
    ~PDLPersistentVarManager() override;

    // Opens the storage; reinit forces a fresh one.
    void init(bool reinit);
    // Checks the storage once the hardware runs and starts the compaction thread.
    void cleanup();

    // The calls of persistent PDL variables. A variable is named by its module and its name; an
    // array element by the array's name, "." and its key. Slot numbers are handles; -1 is none.
    // The slot of the variable, made when absent; -1 when the storage is full.
    int insertVariable(UniqueModuleID const& moduleID, std::string const& name);
    void removeVariable(int slot);
    void removeVariable(UniqueModuleID const& moduleID, std::string const& name);
    // The next slot at or after start that holds an element of the array name; -1 at the end.
    int findKeysGetNext(int start, UniqueModuleID const& moduleID, std::string const& name);
    // The stored name of a slot; empty for a free or unknown slot.
    std::string getVarName(int slot);
    PDLVariant getValue(int slot);
    PDLVariant getValue(UniqueModuleID const& moduleID, std::string const& name);
    void setValue(int slot, PDLVariant const& value);
    void setValue(UniqueModuleID const& moduleID, std::string const& name, PDLVariant const& value);
};

#endif
