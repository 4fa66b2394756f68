#include "pdlinterpreter.h"

#include "pdlphysicalwidget.h"

#include <basekit/uniqueids.h>

rtk::MutexSemaphore PDLInterpreter::s_mutex;
int PDLInterpreter::s_logLevel = 3;

PDLInterpreter::PDLInterpreter()
{
    mutexTake();
}

PDLInterpreter::~PDLInterpreter() {}

IInterface* PDLInterpreter::queryInterface(unsigned int id)
{
    if (id == IPDLInterpreter::s_interfaceID)
    {
        return static_cast<IPDLInterpreter*>(this);
    }
    return nullptr;
}

void PDLInterpreter::addWidget(UniqueWidgetID const& id)
{
    PDLPhysicalWidgetManager::getInstance()->addWidget(id);
}

void PDLInterpreter::mutexTake()
{
    s_mutex.take();
}

void PDLInterpreter::mutexGive()
{
    s_mutex.give();
}
