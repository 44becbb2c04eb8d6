#pragma once
#include <memory>
#include <utility>

#include "zQueue.h"

namespace qcp::platform {

// The way back from a toolkit's thread (GTK's, AppKit's main thread) to the
// core object behind a view, which lives on the main queue. The view cuts
// the link when it goes (on the main queue, as every use of the input is):
// input sent before that and handled after is dropped, so the core is never
// called for a view it destroyed, and never from inside one of its own calls
// to the view.
template <class Input>
class MainQueueLink {
public:
    explicit MainQueueLink(Input& input) : fInput(&input) {}

    // Main queue.
    void Cut() { fInput = nullptr; }

    // Any thread: `call(input)` on the main queue, later, if still linked.
    template <class Call>
    static void Send(const std::shared_ptr<MainQueueLink>& link, Call call) {
        zQueue::Main().Async([link, call = std::move(call)] {
            if (link->fInput) call(*link->fInput);
        });
    }

private:
    Input* fInput;
};

} // namespace qcp::platform
