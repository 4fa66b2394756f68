#ifndef INTERFACES_IPSPUBLISHER_H
#define INTERFACES_IPSPUBLISHER_H

#include "interfaces/iinterface.h"

#include <string>

class FIDPatternHelper;
class PDLStateSubscriberKey;

// Subscriptions to the panel state; each operation takes the interpreter mutex.
class IPSPublisher : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIPSPublisher;

    virtual void subscribe(std::string const& fid, PDLStateSubscriberKey const& key) = 0;
    virtual void subscribeWildcard(FIDPatternHelper const& pattern, PDLStateSubscriberKey const& key) = 0;
    virtual void unsubscribe(std::string const& fid, PDLStateSubscriberKey const& key) = 0;
    virtual void unsubscribeWildcard(FIDPatternHelper const& pattern, PDLStateSubscriberKey const& key) = 0;
    // The value as text; the empty text for an invalid entry.
    virtual std::string getValueString(std::string const& fid) = 0;
};

#endif
