#ifndef PDLPHYSICALWIDGET_H
#define PDLPHYSICALWIDGET_H

// PDLPhysicalWidget: the software image of one hardware control, with the discipline of who drives
// each of its attributes (a panel-state connection, a plain value, a stack of named overrides);
// PDLPhysicalWidgetManager: the table of them, keyed by UniqueWidgetID, offered as IWidgetControl.

#include "pdlpanelstate.h"
#include "pdlvariant.h"

#include "rtk/cmd.h"
#include "rtk/singleton.h"

#include <basekit/uniqueids.h>
#include <interfaces/ipanelfeedback.h>
#include <interfaces/iwidgetcontrol.h>

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <utility>

class PDLScaler;

class PDLPhysicalWidget : public PDLStateSubscriber
{
public:
    // One override: the overrider's name and the value it shows.
    typedef std::pair<std::string, PDLVariant> Override;
    typedef std::list<Override> OverrideList;

    // Resets the control to its defaults on the hardware at once.
    PDLPhysicalWidget(IPanelFeedback* pPanelFeedback, UniqueWidgetID const& id);
    // Ends every subscription (attributes first, then receive events) and deletes the scalers; the
    // hardware is not reset.
    ~PDLPhysicalWidget() override;

    // Makes an attribute follow a panel-state entry (and shows the entry's value at once), or a receive
    // event fire on triggers of it. An attribute wins over a receive event of the same name; a name
    // that is neither is reported at DEBUG1 and changes nothing.
    void connect(std::string const& name, std::string const& functionId);
    // Rereads every connected attribute from the panel state and writes what changed.
    void update() override;
    // Writes the effective value of the attribute (the front override, else the plain value) to the
    // hardware as the given type asks; always writes.
    void updateAttributeValue(IPanelFeedback::EWidgetParameterType type, std::string const& name);
    // A plain write: ends the attribute's connection and scaler; writes only a changed value.
    void setAttributeValue(std::string const& name, PDLVariant const& value);
    // The value under any overrides: "PRESSED" from the press state (as "TRUE"/"FALSE"), an overridden
    // attribute from the kept value, any other from the hardware (the kept value when the read fails).
    // Invalid for an unknown attribute.
    PDLVariant getAttributeValue(std::string const& name);
    // Puts an override on top (or changes the overrider's own); the newest overrider is in force.
    void overrideAttributeValue(std::string const& overrider, std::string const& name,
                                PDLVariant const& value);
    // Drops the overrider's override and shows what is then in force.
    void restoreAttributeValue(std::string const& overrider, std::string const& name);
    // Takes the scaler over and deletes the one the attribute had; null clears it. Writes nothing.
    void setScaler(std::string const& name, PDLScaler* pScaler);
    // Records the press state from a hardware event name: "DOWN" and "DPOP" press, "UP" releases,
    // every other name changes nothing.
    void sendEvent(std::string const& event);
    // Hands a receive event with its parameter text to the control.
    void trigger(std::string const& event, std::string const& parameter);
    // Fires every receive event connected to the function id, in name order.
    void triggerMFDriverEvent(std::string const& functionId, std::string const& parameter) override;
    // Tells the hardware to reset every attribute of the control; nothing kept here changes.
    void setAllAttributesToDefault();
    // "conn phys widget " and the dotted id.
    std::string getDescription(int id) const override;

    // What is kept, for diagnostics and tests.
    PDLScaler* getScaler(std::string const& name) const;
    // The function id the attribute follows; empty when it is not connected.
    std::string getConnection(std::string const& name) const;
    // The function id whose triggers fire the receive event; empty when it is not connected.
    std::string getEventConnection(std::string const& name) const;
    // The overrides of the attribute, the one in force first; empty when there are none.
    OverrideList getOverrides(std::string const& name) const;
    UniqueWidgetID const& getID() const { return m_id; }
    // True between a press and its release, as the hardware reported them.
    bool isPressed() const { return m_pressed; }

private:
    PDLPhysicalWidget(PDLPhysicalWidget const&) = delete;
    PDLPhysicalWidget& operator=(PDLPhysicalWidget const&) = delete;

    // The attribute's type as the hardware side tells it; 0 without a hardware side.
    IPanelFeedback::EWidgetParameterType paramType(std::string const& name) const;
    // The attribute's type, or 0 after the DEBUG1 report "OPERATION: unknown attribute ...".
    IPanelFeedback::EWidgetParameterType attributeType(char const* pOperation, std::string const& name);
    PDLStateSubscriberKey key() { return PDLStateSubscriberKey(this, 0); }
    void subscribe(std::string const& functionId);
    void unsubscribe(std::string const& functionId);

    std::map<std::string, std::string> m_attributeConnections;
    std::map<std::string, std::string> m_eventConnections;
    std::map<std::string, PDLVariant> m_attributeValues;
    std::map<std::string, OverrideList> m_attributeOverrides;
    std::map<std::string, PDLScaler*> m_scalers;
    IPanelFeedback* m_iPanelFeedback;
    UniqueWidgetID m_id;
    bool m_pressed;
};

// Told when controls and modules come and go in the core, for a view that mirrors the panel (the
// simulator link). Not owned by the manager.
class IPhysicalWidgetObserver
{
public:
    virtual ~IPhysicalWidgetObserver() {}
    // A module was reported at id (an empty type: it has gone).
    virtual void moduleStatus(UniqueModuleID const& id, std::string const& type, std::string const& version) = 0;
    // A widget came into being in the core.
    virtual void widgetAdded(UniqueWidgetID const& id) = 0;
};

class PDLPhysicalWidgetManager : public IWidgetControl, public rtk::Singleton<PDLPhysicalWidgetManager>
{
public:
    // Registers the shell command setAttr.
    PDLPhysicalWidgetManager();
    // Deletes every widget in id order.
    ~PDLPhysicalWidgetManager() override;

    // IWidgetControl for 1002, null for anything else.
    IInterface* queryInterface(unsigned int id) override;

    // IWidgetControl: attributes by text; a value is handed to the widget as a String.
    std::string getWidgetAttributeValue(UniqueWidgetID const& id, std::string const& attribute) override;
    void setWidgetAttributeValue(UniqueWidgetID const& id, std::string const& attribute,
                                 std::string const& value) override;
    void overrideWidgetAttributeValue(std::string const& overrider, UniqueWidgetID const& id,
                                      std::string const& attribute, std::string const& value) override;
    void restoreWidgetAttributeValue(std::string const& overrider, UniqueWidgetID const& id,
                                     std::string const& attribute) override;
    // Makes the widget of a control announced by the MHL parser; an id used twice is an error.
    void addWidget(UniqueWidgetID const& id) override;
    // Deletes the widgets of a module; the hardware is not told.
    void removeWidgetsOfModule(UniqueModuleID const& id) override;

    // The widget of the control; null when none is known. Makes nothing.
    PDLPhysicalWidget* findWidget(UniqueWidgetID const& id) const;
    // The widget of the control, made through addWidget when there is none yet (with a DEBUG1 note).
    // Null only when addWidget stored nothing.
    PDLPhysicalWidget* getWidget(UniqueWidgetID const& id);
    PDLPhysicalWidget* getWidget(uint32_t id) { return getWidget(UniqueWidgetID(id)); }

    // Widgets made from now on talk to the hardware through this interface.
    void setPanelFeedbackInterface(IPanelFeedback* pPanelFeedback);
    IPanelFeedback* getPanelFeedbackInterface() const { return m_iPanelFeedback; }

    // Resets every control to its defaults, in id order; the widgets stay.
    void deinit();

    // The observer of controls and modules (null: none); not owned.
    void setObserver(IPhysicalWidgetObserver* pObserver) { m_pObserver = pObserver; }
    // Passes a module report on to the observer.
    void notifyModuleStatus(UniqueModuleID const& id, std::string const& type, std::string const& version);

    // setAttr W G M WIDGET ATTRIBUTE VALUE
    bool shellCmdSetAttr(rtk::CmdParameters& params);

private:
    IPanelFeedback* m_iPanelFeedback;
    std::map<UniqueWidgetID, PDLPhysicalWidget*> m_widgets;
    IPhysicalWidgetObserver* m_pObserver;
};

#endif
