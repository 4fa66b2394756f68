#ifndef PDLPHYSICALWIDGET_H
#define PDLPHYSICALWIDGET_H

// PDLPhysicalWidget: the software image of one hardware control; PDLPhysicalWidgetManager: the table
// of them, keyed by UniqueWidgetID.

#include "rtk/singleton.h"

#include <basekit/uniqueids.h>
#include <interfaces/iinterface.h>

#include <map>

class IPanelFeedback;

class PDLPhysicalWidget
{
public:
    // Resets the control to its defaults on the hardware at once.
    PDLPhysicalWidget(IPanelFeedback* pPanelFeedback, UniqueWidgetID const& id);
    virtual ~PDLPhysicalWidget();

    // Tells the hardware to reset every attribute of the control; nothing kept here changes.
    void setAllAttributesToDefault();

    UniqueWidgetID const& getID() const { return m_id; }
    // True between a press and its release, as the hardware reported them.
    bool isPressed() const { return m_pressed; }

private:
    PDLPhysicalWidget(PDLPhysicalWidget const&) = delete;
    PDLPhysicalWidget& operator=(PDLPhysicalWidget const&) = delete;

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
