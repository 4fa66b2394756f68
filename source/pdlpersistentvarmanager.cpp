#include "pdlpersistentvarmanager.h"

PDLPersistentVarManager::PDLPersistentVarManager() {}

PDLPersistentVarManager::~PDLPersistentVarManager() {}

void PDLPersistentVarManager::init(bool /*reinit*/)
{
    // The storage section and its check come with the persistent variable storage.
}

void PDLPersistentVarManager::cleanup()
{
    // The storage section and its compaction thread come with the persistent variable storage.
}
