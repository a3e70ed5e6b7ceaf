// How long a selection tool takes to be ready for the user: from its launch until it holds the
// pointer grab, which is when a drag would reach it. Tools that draw no overlay of their own
// (maim -s, scrot -s, import) are ready at that moment.
//
//   grab_probe COMMAND [ARG...]     prints the milliseconds, then ends the tool

#include <xcb/xcb.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

int main(int argc, char *argv[])
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: grab_probe COMMAND [ARG...]\n");
        return 2;
    }
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection))
        return 1;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;

    const auto start = std::chrono::steady_clock::now();
    const pid_t tool = fork();
    if (tool == 0) {
        execvp(argv[1], argv + 1);
        _exit(127);
    }
    // Try to take the pointer ourselves: refused with AlreadyGrabbed once the tool holds it.
    double readyMs = -1;
    while (std::chrono::steady_clock::now() - start < std::chrono::seconds(5)) {
        xcb_grab_pointer_reply_t *reply = xcb_grab_pointer_reply(connection,
            xcb_grab_pointer(connection, false, root, 0, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE,
                XCB_CURRENT_TIME),
            nullptr);
        const bool taken = reply && reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED;
        if (reply && reply->status == XCB_GRAB_STATUS_SUCCESS)
            xcb_ungrab_pointer(connection, XCB_CURRENT_TIME);
        free(reply);
        xcb_flush(connection);
        if (taken) {
            readyMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
            break;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    std::printf("%.1f\n", readyMs);
    std::fflush(stdout);
    kill(tool, SIGTERM);
    waitpid(tool, nullptr, 0);
    xcb_disconnect(connection);
    return readyMs < 0 ? 1 : 0;
}
