#ifndef PDLMODULE_H
#define PDLMODULE_H

// PDLModule: the scope object of one physical module position and the entry of events into its code.
// This holds the module's position and event entry; its content comes with module loading.

#include <basekit/uniqueids.h>

class PDLEvent;

class PDLModule
{
public:
    explicit PDLModule(UniqueModuleID const& id);
    virtual ~PDLModule();

    int getWorkplaceID() const { return m_id.getWorkplaceID(); }
    int getGroupID() const { return m_id.getGroupID(); }
    int getModuleID() const { return m_id.getModuleID(); }
    UniqueModuleID const& getUniqueModuleID() const { return m_id; }

    // Runs an event on the module's widgets and sequences; a module without any runs nothing.
    void executeEvent(PDLEvent const* pEvent);

private:
    PDLModule(PDLModule const&) = delete;
    PDLModule& operator=(PDLModule const&) = delete;

    UniqueModuleID m_id;
};

#endif
