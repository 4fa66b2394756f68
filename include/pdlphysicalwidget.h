#ifndef PDLPHYSICALWIDGET_H
#define PDLPHYSICALWIDGET_H

// PDLPhysicalWidget: the software image of one hardware control; PDLPhysicalWidgetManager: the table
// of them, keyed by UniqueWidgetID.

#include "pdlvariant.h"

#include "rtk/singleton.h"

#include <basekit/uniqueids.h>
#include <interfaces/iinterface.h>

#include <cstdint>
#include <map>
#include <string>

class IPanelFeedback;
class PDLScaler;

class PDLPhysicalWidget
{
public:
    // Resets the control to its defaults on the hardware at once.
    PDLPhysicalWidget(IPanelFeedback* pPanelFeedback, UniqueWidgetID const& id);
    virtual ~PDLPhysicalWidget();

    // Tells the hardware to reset every attribute of the control; nothing kept here changes.
    void setAllAttributesToDefault();

    // The attribute side as far as it goes for now: values, scalers and connections are kept per
    // attribute name; the hardware is not asked for attribute types and not written to.

    // Takes the scaler over and deletes the one the attribute had; null clears it.
    void setScaler(std::string const& attribute, PDLScaler* pScaler);
    // Binds the attribute to a function id of the panel state, replacing an earlier binding. The
    // scaler of the attribute is left as it is.
    void connect(std::string const& attribute, std::string const& functionId);
    // A plain write: ends a connection and drops the scaler of the attribute, then stores the value.
    void setAttributeValue(std::string const& attribute, PDLVariant const& value);
    // The value last stored for the attribute; Invalid when none was.
    PDLVariant getAttributeValue(std::string const& attribute) const;
    // Hands a receive event with its parameter text to the control.
    void trigger(std::string const& event, std::string const& parameter);

    // The scaler of the attribute, or null; the widget keeps it.
    PDLScaler* getScaler(std::string const& attribute) const;
    // The function id the attribute follows; empty when it is not connected.
    std::string getConnection(std::string const& attribute) const;

    UniqueWidgetID const& getID() const { return m_id; }
    // Records the press state from a hardware event name: "DOWN" and "DPOP" press, "UP" releases,
    // every other name changes nothing.
    void sendEvent(std::string const& event);
    // True between a press and its release, as the hardware reported them.
    bool isPressed() const { return m_pressed; }

private:
    PDLPhysicalWidget(PDLPhysicalWidget const&) = delete;
    PDLPhysicalWidget& operator=(PDLPhysicalWidget const&) = delete;

    std::map<std::string, std::string> m_attributeConnections;
    std::map<std::string, PDLVariant> m_attributeValues;
    std::map<std::string, PDLScaler*> m_scalers;
    IPanelFeedback* m_iPanelFeedback;
    UniqueWidgetID m_id;
    bool m_pressed;
};

class PDLPhysicalWidgetManager : public virtual IInterface, public rtk::Singleton<PDLPhysicalWidgetManager>
{
public:
    PDLPhysicalWidgetManager();
    ~PDLPhysicalWidgetManager() override;

    // Offers IWidgetControl once the attribute model is in place; until then nothing.
    IInterface* queryInterface(unsigned int id) override;

    // Makes the widget of a control announced by the MHL parser; an id used twice is an error.
    virtual void addWidget(UniqueWidgetID const& id);
    // Deletes the widgets of a module; the hardware is not told.
    virtual void removeWidgetsOfModule(UniqueModuleID const& id);
    // The widget of the control; null when none is known.
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

private:
    IPanelFeedback* m_iPanelFeedback;
    std::map<UniqueWidgetID, PDLPhysicalWidget*> m_widgets;
};

#endif
