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

// Until the storage section exists there is no slot: every variable gets the handle -1, reads give
// Invalid and writes go nowhere.
int PDLPersistentVarManager::insertVariable(UniqueModuleID const& /*moduleID*/, std::string const& /*name*/)
{
    return -1;
}

void PDLPersistentVarManager::removeVariable(int /*slot*/) {}

void PDLPersistentVarManager::removeVariable(UniqueModuleID const& /*moduleID*/, std::string const& /*name*/)
{
}

int PDLPersistentVarManager::findKeysGetNext(int /*start*/, UniqueModuleID const& /*moduleID*/,
                                             std::string const& /*name*/)
{
    return -1;
}

std::string PDLPersistentVarManager::getVarName(int /*slot*/)
{
    return std::string();
}

PDLVariant PDLPersistentVarManager::getValue(int /*slot*/)
{
    return PDLVariant();
}

PDLVariant PDLPersistentVarManager::getValue(UniqueModuleID const& /*moduleID*/, std::string const& /*name*/)
{
    return PDLVariant();
}

void PDLPersistentVarManager::setValue(int /*slot*/, PDLVariant const& /*value*/) {}

void PDLPersistentVarManager::setValue(UniqueModuleID const& /*moduleID*/, std::string const& /*name*/,
                                       PDLVariant const& /*value*/)
{
}
