#pragma once

#include <memory>

struct CliContext;
class TavrelScope;

namespace CorvaneIOUtilsLib {
class IOManager;
}

// The control a command works on: the one in the --doc host document when given, else a new one.
std::unique_ptr<TavrelScope> OpenControl(const CliContext& context);
// Writes a changed control back into the --doc host document; without one there is nothing to keep.
void SaveControl(const CliContext& context, TavrelScope& control);
// The control's I/O manager; a clear failure when it could not be created.
std::shared_ptr<CorvaneIOUtilsLib::IOManager> RequireIOManager(TavrelScope& control);
