#include "InstanceCommands.h"

#include "CommandLine.h"
#include "ScreenshotCommand.h"
#include "ScreenshotService.h"

#include <QDir>

InstanceCommands::InstanceCommands(ScreenshotService &screenshots)
    : m_screenshots(screenshots)
{
}

bool InstanceCommands::servable(const Invocation &invocation)
{
    return invocation.action == Invocation::Action::screenshot && !invocation.screenshot.toCaller();
}

InstanceChannel::Cancel InstanceCommands::run(const ForwardedCommand &command, const InstanceChannel::Reply &reply)
{
    Invocation invocation = CommandLine::parse(command.arguments);
    if (!servable(invocation)) {
        reply({CommandAnswer::notServed, {}, QStringLiteral("not served by the running instance")});
        return {};
    }
    ScreenshotRequest &request = invocation.screenshot;
    if (request.toNamedFile())
        request.outputPath = QDir(command.workingDirectory).absoluteFilePath(request.outputPath);

    const ScreenshotService::Ticket ticket = m_screenshots.take(
        request, [reply](const ScreenshotOutcome &outcome) { reply(ScreenshotCommand::report(outcome)); });
    return [&screenshots = m_screenshots, ticket]() { screenshots.cancel(ticket); };
}
