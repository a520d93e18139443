#ifndef UTILITY_DEFERREDLOGIC_H
#define UTILITY_DEFERREDLOGIC_H

#include <utility/utility_export.h>

#include <QObject>

// Runs a piece of logic once, shortly after the current event has been handled, on
// the event loop of the thread that creates the object, and then deletes itself.
//
//     class SaveLater : public CDeferredLogic { void execute() override { ... } };
//     new SaveLater; // runs after 10 ms, then goes away on its own
//
// Create it with new and never delete it yourself. An object that dies before its
// timer fires (one on the stack, or one deleted by hand) never runs its logic, and
// neither does one created in a thread without a running event loop.
class UTILITY_EXPORT CDeferredLogic : public QObject
{
    Q_OBJECT
public:
    // delay: milliseconds until execute() runs; 0 means the next pass of the loop.
    CDeferredLogic();
    explicit CDeferredLogic(int delay);
    ~CDeferredLogic() override;

    // The deferred logic; called exactly once.
    virtual void execute() = 0;

private Q_SLOTS:
    void slotTimerExpired();
};

#endif // UTILITY_DEFERREDLOGIC_H
