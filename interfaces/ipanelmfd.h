#ifndef INTERFACES_IPANELMFD_H
#define INTERFACES_IPANELMFD_H

// Given by the host and handed through to the module driver library; the core calls nothing on it.
class IPanelMFD
{
public:
    virtual ~IPanelMFD() {}
};

#endif
