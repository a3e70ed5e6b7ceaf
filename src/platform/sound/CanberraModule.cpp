// The shutter through libcanberra, in a module of its own: libcanberra brings ALSA and the
// Vorbis decoder, memory an idle tray would hold for nothing until the first capture.

#include "ShutterSound.h"

#include <alsa/asoundlib.h>
#include <canberra.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace {

// One id for every shutter: cancelling it stops the previous capture's sound.
constexpr std::uint32_t shutterId = 1;

// ALSA writes its configuration errors to stderr, which on a machine without a sound card is
// every play. A desktop without sound plays nothing and says nothing; the calls still fail.
void ignoreAlsaError(const char *, int, const char *, int, const char *, ...)
{
}

// play() only wakes a worker thread: opening the sound system took 50 ms on a cold start
// without a sound card, and a hanging sound server would hold the capture for as long as it hangs.
class CanberraShutterSound : public ShutterSound
{
public:
    CanberraShutterSound() = default;
    // Stops the sound and waits for the worker, which may be waiting on the sound system.
    ~CanberraShutterSound() override;

    void play() override;
    bool waitUntilQuiet(std::chrono::milliseconds timeout) override;

private:
    void run();
    static void playFinished(ca_context *context, std::uint32_t id, int error, void *self);

    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_pending = false;
    bool m_stopping = false;
    int m_sounding = 0; // plays started and not yet reported finished
    std::thread m_worker;
};

CanberraShutterSound::~CanberraShutterSound()
{
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    if (m_worker.joinable())
        m_worker.join();
}

void CanberraShutterSound::play()
{
    {
        std::lock_guard lock(m_mutex);
        m_pending = true;
        if (!m_worker.joinable())
            m_worker = std::thread([this] { run(); });
    }
    m_wake.notify_all();
}

void CanberraShutterSound::playFinished(ca_context *, std::uint32_t, int, void *self)
{
    auto *sound = static_cast<CanberraShutterSound *>(self);
    {
        std::lock_guard lock(sound->m_mutex);
        --sound->m_sounding;
    }
    sound->m_wake.notify_all();
}

bool CanberraShutterSound::waitUntilQuiet(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_mutex);
    return m_wake.wait_for(lock, timeout, [this] { return !m_pending && m_sounding == 0; });
}

void CanberraShutterSound::run()
{
    ca_context *context = nullptr;
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_pending || m_stopping; });
        if (m_stopping)
            break;
        m_pending = false;
        lock.unlock();

        if (!context) {
            snd_lib_error_set_handler(ignoreAlsaError);
            if (ca_context_create(&context) == CA_SUCCESS) {
                ca_context_change_props(context, CA_PROP_APPLICATION_NAME, "Qorvel", CA_PROP_APPLICATION_ID,
                    "com.vostrink.qorvel", nullptr);
                // Without a usable driver there is nothing to play now; the next capture tries
                // again, so a sound server started later is found.
                if (ca_context_open(context) != CA_SUCCESS) {
                    ca_context_destroy(context);
                    context = nullptr;
                }
            }
        }
        if (context) {
            ca_context_cancel(context, shutterId);
            ca_proplist *properties = nullptr;
            if (ca_proplist_create(&properties) == CA_SUCCESS) {
                ca_proplist_sets(properties, CA_PROP_EVENT_ID, "screen-capture");
                ca_proplist_sets(properties, CA_PROP_EVENT_DESCRIPTION, "Screenshot taken");
                ca_proplist_sets(properties, CA_PROP_CANBERRA_CACHE_CONTROL, "permanent");
                {
                    std::lock_guard counting(m_mutex);
                    ++m_sounding;
                }
                if (ca_context_play_full(context, shutterId, properties, &CanberraShutterSound::playFinished, this)
                    != CA_SUCCESS) {
                    std::lock_guard counting(m_mutex);
                    --m_sounding;
                    m_wake.notify_all();
                }
                ca_proplist_destroy(properties);
            }
        }

        lock.lock();
    }
    lock.unlock();
    if (context)
        ca_context_destroy(context);
}

} // namespace

extern "C" __attribute__((visibility("default"))) ShutterSound *qorvelMakeShutterSound()
{
    return new CanberraShutterSound;
}
