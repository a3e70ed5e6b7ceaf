// The least a Qt program can do between a global shortcut and a frozen full-screen picture:
// grab Shift+Alt+4 on the root window, and on its press read the screen and show it in a
// full-screen window. It prints the moment of the first paint (milliseconds since the epoch),
// the baseline for Qorvel's own path from the shortcut to the painted overlay. Escape hides it.

#include <QApplication>
#include <QDateTime>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QPixmap>
#include <QScreen>
#include <QWidget>

#include <QAbstractNativeEventFilter>

#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>

namespace {

class FrozenScreen : public QWidget
{
public:
    void freeze()
    {
        m_frame = QGuiApplication::primaryScreen()->grabWindow(0);
        m_painted = false;
        showFullScreen();
        raise();
        activateWindow();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter(this).drawPixmap(0, 0, m_frame);
        if (!m_painted) {
            m_painted = true;
            std::printf("painted at %lld\n", static_cast<long long>(QDateTime::currentMSecsSinceEpoch()));
            std::fflush(stdout);
        }
    }
    void keyPressEvent(QKeyEvent *event) override
    {
        if (event->key() == Qt::Key_Escape)
            hide();
    }

private:
    QPixmap m_frame;
    bool m_painted = false;
};

class HotKey : public QAbstractNativeEventFilter
{
public:
    HotKey(xcb_connection_t *connection, xcb_keycode_t code, FrozenScreen &screen)
        : m_code(code)
        , m_screen(screen)
    {
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
        // Shift + Alt, with and without NumLock (Mod2) and CapsLock.
        const uint16_t numLock = XCB_MOD_MASK_2;
        const uint16_t capsLock = XCB_MOD_MASK_LOCK;
        for (const uint16_t locks : {uint16_t(0), numLock, capsLock, uint16_t(numLock | capsLock)})
            xcb_grab_key(connection, 1, root, uint16_t(XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_1 | locks), code,
                XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        xcb_flush(connection);
    }

    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if ((event->response_type & 0x7f) == XCB_KEY_PRESS
            && reinterpret_cast<const xcb_key_press_event_t *>(event)->detail == m_code)
            m_screen.freeze();
        return false;
    }

private:
    xcb_keycode_t m_code;
    FrozenScreen &m_screen;
};

xcb_keycode_t keycodeOf(xcb_connection_t *connection, xcb_keysym_t keysym)
{
    const xcb_setup_t *setup = xcb_get_setup(connection);
    const int count = setup->max_keycode - setup->min_keycode + 1;
    xcb_get_keyboard_mapping_reply_t *mapping = xcb_get_keyboard_mapping_reply(
        connection, xcb_get_keyboard_mapping(connection, setup->min_keycode, uint8_t(count)), nullptr);
    xcb_keycode_t found = 0;
    if (mapping) {
        const xcb_keysym_t *symbols = xcb_get_keyboard_mapping_keysyms(mapping);
        for (int i = 0; i < count * mapping->keysyms_per_keycode && !found; ++i)
            if (symbols[i] == keysym)
                found = xcb_keycode_t(setup->min_keycode + i / mapping->keysyms_per_keycode);
        std::free(mapping);
    }
    return found;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    auto *x11 = app.nativeInterface<QNativeInterface::QX11Application>();
    if (!x11)
        return 1;
    FrozenScreen screen;
    HotKey hotKey(x11->connection(), keycodeOf(x11->connection(), 0x34 /* the "4" key */), screen);
    app.installNativeEventFilter(&hotKey);
    std::printf("ready\n");
    std::fflush(stdout);
    return app.exec();
}
