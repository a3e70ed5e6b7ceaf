#include "ParallelParts.h"

#include <algorithm>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

void ParallelParts::run(int count, const std::function<void(int part)> &work)
{
    // An exception (std::bad_alloc on a huge image) must not escape a thread, where it would end
    // the process; the first one is thrown again on the calling thread once all parts are done.
    std::vector<std::exception_ptr> failures(size_t(std::max(count, 0)));
    const auto guarded = [&work, &failures](int part) {
        try {
            work(part);
        } catch (...) {
            failures[size_t(part)] = std::current_exception();
        }
    };

    std::vector<std::thread> threads;
    threads.reserve(failures.size());
    for (int part = 1; part < count; ++part) {
        try {
            threads.emplace_back(guarded, part);
        } catch (const std::system_error &) {
            // Out of threads (a process limit, a container): slower, but still the same bytes.
            guarded(part);
        }
    }
    if (count > 0)
        guarded(0);
    for (std::thread &thread : threads)
        thread.join();
    for (const std::exception_ptr &failure : failures) {
        if (failure)
            std::rethrow_exception(failure);
    }
}
