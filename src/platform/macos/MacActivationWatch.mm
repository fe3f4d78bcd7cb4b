#include "platform/macos/MacActivationWatch.h"

#import <AppKit/AppKit.h>

#include "platform/activation/ActivationEventSource.h"

namespace tessiva {

namespace {

class MacActivationWatch {
  public:
    explicit MacActivationWatch(ActivationEventSource& source) {
        ActivationEventSource* target = &source;
        NSNotificationCenter* workspaceCenter = [NSWorkspace sharedWorkspace].notificationCenter;
        wake_ = [workspaceCenter addObserverForName:NSWorkspaceDidWakeNotification
                                             object:nil
                                              queue:nil
                                         usingBlock:^(NSNotification*) {
                                           target->fire(ActivationEvent::systemDidWake);
                                         }];
        active_ = [[NSNotificationCenter defaultCenter]
            addObserverForName:NSApplicationDidBecomeActiveNotification
                        object:nil
                         queue:nil
                    usingBlock:^(NSNotification*) {
                      target->fire(ActivationEvent::applicationDidBecomeActive);
                    }];
    }

    ~MacActivationWatch() {
        [[NSWorkspace sharedWorkspace].notificationCenter removeObserver:wake_];
        [[NSNotificationCenter defaultCenter] removeObserver:active_];
    }

    MacActivationWatch(const MacActivationWatch&) = delete;
    MacActivationWatch& operator=(const MacActivationWatch&) = delete;

  private:
    id wake_ = nil;
    id active_ = nil;
};

}  // namespace

std::shared_ptr<void> makeMacActivationWatch(ActivationEventSource& source) {
    return std::make_shared<MacActivationWatch>(source);
}

}  // namespace tessiva
