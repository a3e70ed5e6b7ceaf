#include "Shortcut.h"

#include "KeyCodeTable.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <array>
#include <limits>
#include <utility>

namespace KeyboardShortcuts {

namespace {

constexpr std::array<std::pair<quint32, quint64>, 5> modifierPairs = {{
    {CarbonModifier::command, CocoaFlag::command},
    {CarbonModifier::shift, CocoaFlag::shift},
    {CarbonModifier::option, CocoaFlag::option},
    {CarbonModifier::control, CocoaFlag::control},
    {CarbonModifier::function, CocoaFlag::function},
}};

// Function has no Qt modifier; KeypadModifier belongs to the key, not to the chord.
constexpr std::array<std::pair<quint32, Qt::KeyboardModifier>, 4> qtModifierPairs = {{
    {CarbonModifier::command, Qt::MetaModifier},
    {CarbonModifier::shift, Qt::ShiftModifier},
    {CarbonModifier::option, Qt::AltModifier},
    {CarbonModifier::control, Qt::ControlModifier},
}};

std::optional<quint32> unsignedField(const QJsonObject &object, QLatin1String name)
{
    const QJsonValue value = object.value(name);
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    if (number < 0 || number > std::numeric_limits<quint32>::max() || number != double(qint64(number)))
        return std::nullopt;
    return quint32(number);
}

} // namespace

quint64 Shortcut::cocoaFlags(quint32 carbonModifiers)
{
    quint64 flags = 0;
    for (const auto &[carbon, cocoa] : modifierPairs) {
        if (carbonModifiers & carbon)
            flags |= cocoa;
    }
    return flags;
}

quint32 Shortcut::carbonModifiersFromCocoa(quint64 cocoaFlags)
{
    quint32 modifiers = 0;
    for (const auto &[carbon, cocoa] : modifierPairs) {
        if (cocoaFlags & cocoa)
            modifiers |= carbon;
    }
    return modifiers;
}

quint32 Shortcut::normalizedModifiers(quint32 carbonModifiers)
{
    return carbonModifiersFromCocoa(cocoaFlags(carbonModifiers));
}

Shortcut Shortcut::fromCocoa(quint32 keyCode, quint64 cocoaFlags)
{
    return {keyCode, normalizedModifiers(carbonModifiersFromCocoa(cocoaFlags))};
}

std::optional<Shortcut> Shortcut::fromQt(QKeyCombination combination)
{
    const Qt::KeyboardModifiers qtModifiers = combination.keyboardModifiers();
    const KeyArea area = qtModifiers.testFlag(Qt::KeypadModifier) ? KeyArea::keypad : KeyArea::main;
    const std::optional<quint32> keyCode = KeyCodeTable::keyCode(combination.key(), area);
    if (!keyCode)
        return std::nullopt;
    quint32 modifiers = 0;
    for (const auto &[carbon, qt] : qtModifierPairs) {
        if (qtModifiers.testFlag(qt))
            modifiers |= carbon;
    }
    return Shortcut{*keyCode, modifiers};
}

QKeyCombination Shortcut::toQt() const
{
    Qt::KeyboardModifiers qtModifiers;
    for (const auto &[carbon, qt] : qtModifierPairs) {
        if (carbonModifiers & carbon)
            qtModifiers |= qt;
    }
    if (KeyCodeTable::area(carbonKeyCode) == KeyArea::keypad)
        qtModifiers |= Qt::KeypadModifier;
    return QKeyCombination(qtModifiers, KeyCodeTable::qtKey(carbonKeyCode).value_or(Qt::Key_unknown));
}

QString Shortcut::toJson() const
{
    const QJsonObject object{
        {QLatin1String("carbonKeyCode"), qint64(carbonKeyCode)},
        {QLatin1String("carbonModifiers"), qint64(carbonModifiers)},
    };
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

std::optional<Shortcut> Shortcut::fromJson(const QString &json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json.toUtf8());
    if (!document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    const std::optional<quint32> keyCode = unsignedField(object, QLatin1String("carbonKeyCode"));
    const std::optional<quint32> modifiers = unsignedField(object, QLatin1String("carbonModifiers"));
    if (!keyCode || !modifiers)
        return std::nullopt;
    return Shortcut{*keyCode, *modifiers};
}

} // namespace KeyboardShortcuts
