#pragma once
#include <memory>
#include <string>
#include <thread>

// The body a zThread runs. Main() receives no arguments from zThread (argc 0,
// argv null), keeping the base library's thread-function shape.
class zThreadMain {
public:
    virtual ~zThreadMain() = default;
    virtual int Main(int argc, const char** argv) = 0;
};

// A named thread running a zThreadMain. The body is not owned and must outlive
// the thread. The destructor joins, so a zThread never outlives its owner.
class zThread {
public:
    static std::unique_ptr<zThread> Factory(const std::string& name, zThreadMain& body);

    ~zThread();
    zThread(const zThread&) = delete;
    zThread& operator=(const zThread&) = delete;

    void Join();
    bool IsCurrent() const { return std::this_thread::get_id() == fThread.get_id(); }
    const std::string& Name() const { return fName; }

    // Names the calling thread; the system keeps the first 15 bytes.
    static void NameCurrent(const std::string& name);

private:
    zThread(std::string name, zThreadMain& body);

    std::string fName;
    std::thread fThread;
};
