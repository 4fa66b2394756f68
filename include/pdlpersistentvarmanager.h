#ifndef PDLPERSISTENTVARMANAGER_H
#define PDLPERSISTENTVARMANAGER_H

// PDLPersistentVarManager: keeps PDL variables marked persistent in a section of non-volatile memory.

#include "rtk/singleton.h"

class PDLPersistentVarManager : public rtk::Singleton<PDLPersistentVarManager>
{
public:
    PDLPersistentVarManager();
    ~PDLPersistentVarManager() override;

    // Opens the storage; reinit forces a fresh one.
    void init(bool reinit);
    // Checks the storage once the hardware runs and starts the compaction thread.
    void cleanup();
};

#endif
