#ifndef SDK_INTERFACEOBSERVER_H
#define SDK_INTERFACEOBSERVER_H

#include <GrbCPP/GrbCPPTypes.h>
#include <GrbCPP/IInterfaceListObserver.h>

#include <QMetaType>
#include <QObject>

Q_DECLARE_METATYPE(GrbCPP::InterfacePtr)

// Registered only so that the SDK keeps its interface list current; nothing listens.
class InterfaceObserver : public QObject, public GrbCPP::IInterfaceListObserver
{
    Q_OBJECT

public:
    InterfaceObserver();

    void InterfaceListChanged(GrbCPP::InterfacePtr pInterface, GrbCPP::UpdateTriggerType reason) override;

signals:
    void InterfaceListChangedSignal(GrbCPP::InterfacePtr pInterface, GrbCPP::UpdateTriggerType reason);
};

#endif
