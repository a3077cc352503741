// A host whose form (MainForm.ui) was made in the form designer with the control on it; the form
// keeps the control's configuration. --measure clicks Measure once, prints the result and quits.
#include "ui_MainForm.h"

#include <tavrel/Widgets.h>

#include <QApplication>
#include <cstdio>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    InstallPropertyPages(); // double-click the control for its pages
    QWidget form;
    Ui::MainForm ui;
    ui.setupUi(&form);
    QObject::connect(ui.measure, &QPushButton::clicked, [&] { // one quick query: fine on the GUI thread
        try {
            TavrelScope& scope = ui.scope->control();
            if (!scope.InstrumentConnected()) scope.Initialize();
            scope.Digitize();
            ui.result->setText(
                QStringLiteral("Peak to peak: %1 V").arg(scope.Measure().VPP(Tavrel_Channel_1)));
        } catch (const TavrelError& error) {
            ui.result->setText(error.description());
        }
    });
    form.show();
    if (!app.arguments().contains(QStringLiteral("--measure"))) return app.exec();
    ui.measure->click();
    std::puts(qPrintable(ui.result->text()));
}
