#ifndef PANELFEEDBACKMANAGER_H
#define PANELFEEDBACKMANAGER_H

// PanelFeedbackManager: the fan-out of everything the core shows on the hardware. Writes go to every
// receiver in the order they were added; reads ask only the first, the module driver library.

#include "rtk/singleton.h"

#include <interfaces/ipanelfeedback.h>

#include <list>

class PanelFeedbackManager : public IPanelFeedback, public rtk::Singleton<PanelFeedbackManager>
{
public:
    PanelFeedbackManager();
    ~PanelFeedbackManager() override;

    IInterface* queryInterface(unsigned int id) override;

    // Appends a receiver; not owned.
    void addIPanelFeedback(IPanelFeedback* pPanelFeedback);

    EWidgetParameterType getAttributeParamType(UniqueWidgetID const& id,
                                               std::string const& attribute) override;
    EWidgetParameterType getReceiveEventParamType(UniqueWidgetID const& id,
                                                  std::string const& event) override;
    void setAllAttributesToDefault(UniqueWidgetID const& id) override;
    bool setAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool value) override;
    bool setAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int value) override;
    bool setAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                          std::string const& value) override;
    bool getAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool& value) override;
    bool getAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int& value) override;
    bool getAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                          std::string& value) override;
    bool trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value) override;

private:
    IPanelFeedback* getFirstReceiver() const;

    std::list<IPanelFeedback*> m_receivers;
};

#endif
