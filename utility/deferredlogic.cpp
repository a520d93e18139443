#include <utility/deferredlogic.h>

#include <QTimer>

namespace {
constexpr int kDefaultDelay = 10;
} // namespace

CDeferredLogic::CDeferredLogic()
    : CDeferredLogic(kDefaultDelay)
{
}

CDeferredLogic::CDeferredLogic(int delay)
    : QObject(nullptr)
{
    // The timer is bound to this object: it dies with it, so an object destroyed
    // early simply never runs.
    QTimer::singleShot(delay, this, &CDeferredLogic::slotTimerExpired);
}

CDeferredLogic::~CDeferredLogic() = default;

void CDeferredLogic::slotTimerExpired()
{
    execute();
    deleteLater();
}
