// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// The platform services the controls use. The library reaches message boxes, input boxes, the file
/// system's existence check, the date and its own folder only through this interface, so a host or a
/// test can answer them by script.

#include <Brennvox10/brennvox10_export.h>

#include <QDate>
#include <QString>

#include <memory>
#include <optional>

namespace Brennvox10 {

/// The platform services; installServices() replaces them.
class BRENNVOX10_EXPORT Services {
public:
    /// Destroys the Services.
    virtual ~Services();

    /// A modal box with the text and an OK button only, under the application's default title.
    virtual void messageBox(const QString &text) = 0;
    /// Asks for a line of text with no title of its own and an empty default; nullopt when cancelled.
    virtual std::optional<QString> inputBox(const QString &prompt) = 0;
    /// True only for an ordinary, non-hidden file (not a folder, not a hidden file).
    virtual bool fileExists(const QString &path) = 0;
    /// Today's date.
    virtual QDate today() = 0;
    /// The folder that holds libBrennvox10.so.
    virtual QString libraryFolder() = 0;
    /// Lets the event loop handle what is pending (repaints, timers).
    virtual void processPendingEvents() = 0;
};

/// Replaces the services for the whole process; nullptr restores the Qt implementation.
BRENNVOX10_EXPORT void installServices(std::unique_ptr<Services> services);
/// The services in force.
BRENNVOX10_EXPORT Services &services();

} // namespace Brennvox10
