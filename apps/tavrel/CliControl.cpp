#include "CliControl.h"

#include "Cli.h"

#include "control/ControlDocument.h"
#include "control/TavrelScope.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"

std::unique_ptr<TavrelScope> OpenControl(const CliContext& context) {
    auto control = std::make_unique<TavrelScope>();
    if (!context.documentPath.isEmpty()) ControlDocument::Load(*control, context.documentPath);
    return control;
}

void SaveControl(const CliContext& context, TavrelScope& control) {
    if (!context.documentPath.isEmpty()) ControlDocument::Save(control, context.documentPath);
}

std::shared_ptr<CorvaneIOUtilsLib::IOManager> RequireIOManager(TavrelScope& control) {
    auto manager = control.IOManager();
    if (!manager) {
        // The control started without one; asking again gives the reason (TAVREL_IO, the bench file).
        try {
            CorvaneIOUtilsLib::IOManager::create();
        } catch (const CorvaneIOUtilsLib::IOError& e) {
            throw CliFailure(e.message());
        }
        throw CliFailure(QStringLiteral("no I/O manager: check TAVREL_IO"));
    }
    return manager;
}
