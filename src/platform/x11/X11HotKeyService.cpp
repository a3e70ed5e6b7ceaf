#include "X11HotKeyService.h"

#include "KeyCodeTable.h"
#include "X11Connection.h"

#include <QKeySequence>
#include <QLoggingCategory>
#include <QSocketNotifier>

// xkb.h names a structure field `explicit`, a C++ keyword.
// NOLINTNEXTLINE(clang-diagnostic-keyword-macro)
#define explicit xkb_explicit
#include <xcb/xkb.h>
#undef explicit

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

Q_LOGGING_CATEGORY(lcHotKeys, "qorvel.shortcuts.x11")

using KeyboardShortcuts::KeyDirection;
using KeyboardShortcuts::Shortcut;

namespace {

namespace CarbonModifier = KeyboardShortcuts::CarbonModifier;

constexpr uint32_t numLockKeysym = 0xff7f;
// The modifiers a chord is made of; lock states and the other modifier bits are not part of it.
constexpr uint16_t chordModifiers = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;

uint16_t xModifiers(quint32 carbonModifiers)
{
    constexpr std::array<std::pair<quint32, uint16_t>, 4> pairs = {{
        {CarbonModifier::shift, XCB_MOD_MASK_SHIFT},
        {CarbonModifier::control, XCB_MOD_MASK_CONTROL},
        {CarbonModifier::option, XCB_MOD_MASK_1},
        {CarbonModifier::command, XCB_MOD_MASK_4},
    }};
    uint16_t modifiers = 0;
    for (const auto &[carbon, x] : pairs) {
        if (carbonModifiers & carbon)
            modifiers |= x;
    }
    return modifiers;
}

// Detectable auto-repeat: a held key repeats as presses alone, instead of the release and press
// pairs X makes by default, so a repeat is a press of a key that is still down.
void useDetectableAutoRepeat(xcb_connection_t *connection)
{
    const XcbReply<xcb_xkb_use_extension_reply_t> xkb(xcb_xkb_use_extension_reply(
        connection, xcb_xkb_use_extension(connection, XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION), nullptr));
    if (!xkb || !xkb->supported) {
        qCWarning(lcHotKeys) << "no XKB: holding a shortcut repeats it";
        return;
    }
    constexpr uint32_t flag = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    const XcbReply<xcb_xkb_per_client_flags_reply_t> flags(xcb_xkb_per_client_flags_reply(
        connection, xcb_xkb_per_client_flags(connection, XCB_XKB_ID_USE_CORE_KBD, flag, flag, 0, 0, 0), nullptr));
    if (!flags || !(flags->value & flag))
        qCWarning(lcHotKeys) << "the server refused detectable auto-repeat: holding a shortcut repeats it";
}

} // namespace

X11HotKeyService::X11HotKeyService(std::shared_ptr<X11Connection> connection, QObject *parent)
    : QObject(parent)
    , m_connection(std::move(connection))
{
    xcb_connection_t *c = m_connection->get();
    useDetectableAutoRepeat(c);
    m_notifier = new QSocketNotifier(xcb_get_file_descriptor(c), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &X11HotKeyService::readEvents);
}

X11HotKeyService::~X11HotKeyService()
{
    for (const auto &[id, registration] : m_registrations)
        ungrab(registration.grabs);
    xcb_flush(m_connection->get());
}

bool X11HotKeyService::grab(quint32 id, const Shortcut &shortcut)
{
    std::variant<std::vector<KeyGrab>, int> grabs = grabKeys(shortcut);
    // Replies waited for above may have brought key events along, which the socket no longer
    // announces.
    QMetaObject::invokeMethod(this, &X11HotKeyService::readEvents, Qt::QueuedConnection);
    if (const int *status = std::get_if<int>(&grabs)) {
        const QString chord = QKeySequence(shortcut.toQt()).toString(QKeySequence::NativeText);
        std::printf("Error registering hotkey %s: %d\n", chord.toUtf8().constData(), *status);
        std::fflush(stdout);
        return false;
    }
    m_registrations[id] = {shortcut, xModifiers(shortcut.carbonModifiers), std::get<0>(std::move(grabs))};
    return true;
}

void X11HotKeyService::release(quint32 id)
{
    const auto registration = m_registrations.find(id);
    if (registration == m_registrations.end())
        return;
    ungrab(registration->second.grabs);
    xcb_flush(m_connection->get());
    m_registrations.erase(registration);
}

bool X11HotKeyService::tryGrab(const Shortcut &shortcut)
{
    std::variant<std::vector<KeyGrab>, int> grabs = grabKeys(shortcut);
    QMetaObject::invokeMethod(this, &X11HotKeyService::readEvents, Qt::QueuedConnection);
    if (std::holds_alternative<int>(grabs))
        return false;
    ungrab(std::get<0>(grabs));
    xcb_flush(m_connection->get());
    return true;
}

std::variant<std::vector<X11HotKeyService::KeyGrab>, int> X11HotKeyService::grabKeys(const Shortcut &shortcut)
{
    // X has no modifier for the function key, and a key without a key code cannot be grabbed:
    // both are refused as a value the request could not carry.
    if (shortcut.carbonModifiers & CarbonModifier::function)
        return int(XCB_VALUE);
    const std::vector<xcb_keycode_t> keycodes
        = keycodesFor(KeyboardShortcuts::KeyCodeTable::keysyms(shortcut.carbonKeyCode));
    if (keycodes.empty())
        return int(XCB_VALUE);

    // A grab matches the modifier state exactly, and NumLock and CapsLock are modifiers to X:
    // without a grab for each lock state the chord would stop working while a lock is on.
    std::vector<uint16_t> lockStates{0, XCB_MOD_MASK_LOCK};
    if (const uint16_t numLock = numLockMask())
        lockStates.insert(lockStates.end(), {numLock, uint16_t(numLock | XCB_MOD_MASK_LOCK)});

    xcb_connection_t *c = m_connection->get();
    const uint16_t modifiers = xModifiers(shortcut.carbonModifiers);
    std::vector<std::pair<KeyGrab, xcb_void_cookie_t>> requests;
    for (const xcb_keycode_t keycode : keycodes) {
        for (const uint16_t lock : lockStates) {
            const KeyGrab grab{keycode, uint16_t(modifiers | lock)};
            requests.emplace_back(grab,
                xcb_grab_key_checked(c, 1, m_connection->root(), grab.modifiers, grab.keycode, XCB_GRAB_MODE_ASYNC,
                    XCB_GRAB_MODE_ASYNC));
        }
    }
    std::vector<KeyGrab> taken;
    int refusal = 0;
    for (const auto &[grab, cookie] : requests) {
        const XcbReply<xcb_generic_error_t> error(xcb_request_check(c, cookie));
        if (!error)
            taken.push_back(grab);
        else if (!refusal)
            refusal = error->error_code;
    }
    if (refusal) {
        // Half a chord would fire only in some lock states: let go of all of it.
        ungrab(taken);
        xcb_flush(c);
        return refusal;
    }
    return taken;
}

void X11HotKeyService::ungrab(const std::vector<KeyGrab> &grabs)
{
    for (const KeyGrab &grab : grabs)
        xcb_ungrab_key(m_connection->get(), grab.keycode, m_connection->root(), grab.modifiers);
}

std::vector<xcb_keycode_t> X11HotKeyService::keycodesFor(const QList<quint32> &keysyms) const
{
    xcb_connection_t *c = m_connection->get();
    const xcb_setup_t *setup = xcb_get_setup(c);
    const int count = setup->max_keycode - setup->min_keycode + 1;
    const XcbReply<xcb_get_keyboard_mapping_reply_t> mapping(
        xcb_get_keyboard_mapping_reply(c, xcb_get_keyboard_mapping(c, setup->min_keycode, uint8_t(count)), nullptr));
    std::vector<xcb_keycode_t> keycodes;
    if (!mapping)
        return keycodes;
    const xcb_keysym_t *symbols = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const int perKeycode = mapping->keysyms_per_keycode;
    // The first group's two levels only: the keypad's digits are on the second level, while
    // further groups belong to layouts the user is not typing in.
    const int levels = std::min(perKeycode, 2);
    for (int index = 0; index < count; ++index) {
        for (int level = 0; level < levels; ++level) {
            if (keysyms.contains(symbols[index * perKeycode + level])) {
                keycodes.push_back(xcb_keycode_t(setup->min_keycode + index));
                break;
            }
        }
    }
    return keycodes;
}

uint16_t X11HotKeyService::numLockMask() const
{
    // NumLock is whichever modifier its key is mapped to; Mod2 only by custom.
    const std::vector<xcb_keycode_t> numLockKeys = keycodesFor({numLockKeysym});
    xcb_connection_t *c = m_connection->get();
    const XcbReply<xcb_get_modifier_mapping_reply_t> mapping(
        xcb_get_modifier_mapping_reply(c, xcb_get_modifier_mapping(c), nullptr));
    if (!mapping)
        return 0;
    const xcb_keycode_t *keycodes = xcb_get_modifier_mapping_keycodes(mapping.get());
    const int perModifier = mapping->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int index = 0; index < perModifier; ++index) {
            const xcb_keycode_t keycode = keycodes[modifier * perModifier + index];
            if (keycode && std::find(numLockKeys.begin(), numLockKeys.end(), keycode) != numLockKeys.end())
                return uint16_t(1u << modifier);
        }
    }
    return 0;
}

void X11HotKeyService::regrabAll()
{
    // Another layout or modifier map moves keysyms to other key codes: the grabs follow.
    for (auto &[id, registration] : m_registrations) {
        ungrab(registration.grabs);
        std::variant<std::vector<KeyGrab>, int> grabs = grabKeys(registration.shortcut);
        if (auto *taken = std::get_if<std::vector<KeyGrab>>(&grabs)) {
            registration.grabs = std::move(*taken);
        } else {
            registration.grabs.clear();
            qCWarning(lcHotKeys) << "lost hot key" << id << "after a keyboard mapping change: X error"
                                 << std::get<int>(grabs);
        }
    }
    m_keysDown.clear();
}

void X11HotKeyService::readEvents()
{
    xcb_connection_t *c = m_connection->get();
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(c)}) {
        switch (event->response_type & 0x7f) {
        case 0:
            qCWarning(lcHotKeys) << "X error"
                                 << X11Connection::describe(reinterpret_cast<xcb_generic_error_t *>(event.get()));
            break;
        case XCB_KEY_PRESS:
        case XCB_KEY_RELEASE: {
            const auto *key = reinterpret_cast<const xcb_key_press_event_t *>(event.get());
            keyEvent(key->detail, key->state,
                (event->response_type & 0x7f) == XCB_KEY_PRESS ? KeyDirection::down : KeyDirection::up);
            break;
        }
        case XCB_MAPPING_NOTIFY:
            if (reinterpret_cast<const xcb_mapping_notify_event_t *>(event.get())->request != XCB_MAPPING_POINTER)
                regrabAll();
            break;
        default:
            break;
        }
    }
    if (xcb_connection_has_error(c)) {
        qCWarning(lcHotKeys) << "lost the X connection: no hot keys from now on";
        m_notifier->setEnabled(false);
    }
}

void X11HotKeyService::keyEvent(xcb_keycode_t keycode, uint16_t state, KeyDirection direction)
{
    // While a grabbed key is down the whole keyboard is ours, so the releases of Shift, Alt and
    // whatever else is let go arrive here too: only the key that fired may end it.
    if (direction == KeyDirection::up) {
        const auto held = m_keysDown.find(keycode);
        if (held == m_keysDown.end())
            return;
        const quint32 id = held->second;
        m_keysDown.erase(held);
        trigger(id, KeyDirection::up);
        return;
    }
    if (m_keysDown.count(keycode))
        return; // auto-repeat
    for (const auto &[id, registration] : m_registrations) {
        const bool onKey = std::any_of(registration.grabs.begin(), registration.grabs.end(),
            [keycode](const KeyGrab &grab) { return grab.keycode == keycode; });
        if (onKey && registration.modifiers == (state & chordModifiers)) {
            m_keysDown[keycode] = id;
            trigger(id, KeyDirection::down);
            return;
        }
    }
}
