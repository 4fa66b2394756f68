#ifndef INTERFACES_IPANELSETTINGS_H
#define INTERFACES_IPANELSETTINGS_H

// Given by the host and handed through to the module driver library; the core calls nothing on it.
class IPanelSettings
{
public:
    virtual ~IPanelSettings() {}
};

#endif
