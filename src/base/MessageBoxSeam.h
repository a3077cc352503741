#pragma once

#include <QString>
#include <functional>

// Message boxes go through this seam: the GUI layer installs a handler that shows them; headless
// hosts (the CLI, the tests) have none, so nothing is shown and the caller gets OK.
struct MessageBoxRequest {
    QString text;
    QString title;
    int style = 0; // 64 information icon, 65536 set-foreground, as message box styles combine
    QString helpFile;
    int helpContext = 0;
    quintptr owner = 0; // the window the box belongs to (its native id); 0: whichever is active
};

constexpr int kMessageBoxResultOK = 1;
constexpr int kMessageBoxInformation = 64;
constexpr int kMessageBoxSetForeground = 65536;

using MessageBoxHandler = std::function<int(const MessageBoxRequest&)>;

void SetMessageBoxHandler(MessageBoxHandler handler);
bool HasMessageBoxHandler();
int ShowMessageBox(const MessageBoxRequest& request);
