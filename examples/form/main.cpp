// A host form made in the form designer (MainForm.ui): the control on it keeps its configuration in
// the form, and double-clicking it at run time opens its property pages.
//   tavrel-form-example [--measure]   (--measure: click Measure once, print the result and quit)
#include "ui_MainForm.h"

#include <tavrel/Widgets.h>

#include <QApplication>
#include <cstdio>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    InstallPropertyPages();
    QWidget form;
    Ui::MainForm ui;
    ui.setupUi(&form);
    // One quick query on a click; a host that acquires continuously keeps its I/O off the window's
    // thread, as tavrel-view does.
    QObject::connect(ui.measure, &QPushButton::clicked, [&] {
        try {
            TavrelScope& scope = ui.scope->control();
            if (!scope.InstrumentConnected()) scope.Initialize();
            scope.Digitize();
            ui.result->setText(QStringLiteral("Peak to peak: %1 V").arg(scope.Measure().VPP(Tavrel_Channel_1)));
        } catch (const TavrelError& error) {
            ui.result->setText(error.description());
        }
    });
    form.show();
    if (!app.arguments().contains(QStringLiteral("--measure"))) return app.exec();
    ui.measure->click();
    std::puts(qPrintable(ui.result->text()));
    return 0;
}
