#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

// One worker thread that runs the jobs posted to it, in order. The destructor runs what is
// already queued, then joins.
class SerialQueue
{
public:
    SerialQueue();
    ~SerialQueue();

    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    void post(std::function<void()> job);

private:
    void run();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_jobs;
    bool m_closing = false;
    std::thread m_thread;
};
