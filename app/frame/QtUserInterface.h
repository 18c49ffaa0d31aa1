#pragma once

#include "app/document/UserInterface.h"

#include <QObject>

class QWidget;

/// What a document asks of its surroundings, answered with real windows over the main window. Owned by the document's
/// window and outlives the document.
class QtUserInterface : public QObject, public UserInterface {
    Q_OBJECT
public:
    explicit QtUserInterface(QWidget* mainWindow);

    void showMessage(const std::string& text, const std::string& caption, MessageIcon icon) override;
    std::optional<std::string> askFileToOpen(const FileQuestion& question) override;
    std::optional<std::string> askFileToSave(const FileQuestion& question) override;
    void fileWritten(const std::string& path) override;
    void calibrationFileUsed(const std::string& path) override;
    std::optional<FileProperties> askFileProperties(const OfferedProperties& offered) override;
    std::optional<std::string> askComPort(const std::vector<std::string>& portNames) override;
    std::optional<std::vector<NvItem>> askCustomizedList(const std::vector<NvItem>& available,
                                                         const std::vector<NvItem>& customized) override;
    void runWaiting(const std::function<void()>& work) override;
    void beginBusyCursor() override;
    void endBusyCursor() override;
    void post(std::function<void()> work) override;

private:
    /// Over the main window; free of it once it is hidden.
    QWidget* owner() const;

    QWidget* mainWindow_;
};
