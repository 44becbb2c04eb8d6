#include "zThread.h"

#include <pthread.h>

std::unique_ptr<zThread> zThread::Factory(const std::string& name, zThreadMain& body) {
    return std::unique_ptr<zThread>(new zThread(name, body));
}

zThread::zThread(std::string name, zThreadMain& body) : fName(std::move(name)) {
    fThread = std::thread([this, &body] {
        NameCurrent(fName);
        body.Main(0, nullptr);
    });
}

zThread::~zThread() {
    Join();
    // Destroyed by its own thread: it cannot wait for itself, so let it finish.
    if (fThread.joinable()) fThread.detach();
}

void zThread::Join() {
    if (fThread.joinable() && !IsCurrent()) fThread.join();
}

void zThread::NameCurrent(const std::string& name) {
#if defined(__APPLE__)
    pthread_setname_np(name.substr(0, 63).c_str());
#else
    pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
#endif
}
