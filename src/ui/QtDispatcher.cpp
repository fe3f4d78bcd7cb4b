#include "ui/QtDispatcher.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>
#include <cmath>

namespace tessiva {

// Work posted from any thread runs on the GUI thread in posting order (queued invocations keep
// their order); delayed work rides a precise single-shot timer and is skipped once cancelled.
class QtDispatcher::QtMainQueue final : public Queue {
  public:
    std::string_view name() const override { return "main"; }

    void post(Work work) override {
        QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(work),
                                  Qt::QueuedConnection);
    }

    WorkItem postAfter(double seconds, Work work) override {
        WorkItem item = WorkItem::make();
        const int milliseconds = seconds <= 0 ? 0 : static_cast<int>(std::ceil(seconds * 1000.0));
        auto schedule = [item, milliseconds, work = std::move(work)]() mutable {
            QTimer::singleShot(milliseconds, Qt::PreciseTimer, QCoreApplication::instance(),
                               [item, work = std::move(work)] {
                                   if (item.begin())
                                       work();
                               });
        };
        if (isCurrent())
            schedule();
        else
            post(std::move(schedule));
        return item;
    }

    bool isCurrent() const override {
        return QCoreApplication::instance() &&
               QThread::currentThread() == QCoreApplication::instance()->thread();
    }
};

QtDispatcher::QtDispatcher() : main_(std::make_unique<QtMainQueue>()) {}

QtDispatcher::~QtDispatcher() = default;

Queue& QtDispatcher::mainQueue() {
    return *main_;
}

std::shared_ptr<Queue> QtDispatcher::makeSerialQueue(std::string name) {
    return serial_.makeSerialQueue(std::move(name));
}

}  // namespace tessiva
