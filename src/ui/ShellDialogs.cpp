#include "ui/ShellDialogs.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

#include "app/MenuCommandTable.h"
#include "mapping/MappingProfileLibrary.h"

namespace tessiva {

namespace {

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

QString qt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// Both panels are Qt's own, not the platform's: the same widget everywhere, so tests can drive it.
std::optional<std::filesystem::path> runFileDialog(QFileDialog& dialog) {
    dialog.setOption(QFileDialog::DontUseNativeDialog, true);
    dialog.setNameFilter(QObject::tr("Mappings profiles (*.json)"));
    dialog.setWindowModality(Qt::ApplicationModal);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return std::filesystem::path(dialog.selectedFiles().front().toStdString());
}

}  // namespace

void ShellDialogs::showProfileAlert(const ProfileAlert& alert) {
    QMessageBox box(QMessageBox::Warning, qt(alert.title), qt(alert.title), QMessageBox::Ok);
    box.setObjectName("profileAlert");
    box.setInformativeText(qt(alert.text));
    box.exec();
}

bool ShellDialogs::confirmClearAllMappings() {
    QMessageBox box(QMessageBox::Warning, "Clear all mappings?", "Clear all mappings?");
    box.setObjectName("clearAllMappingsAlert");
    box.setInformativeText(
        "Every MIDI and bank mapping of the loaded profile is removed and the "
        "profile is saved. This cannot be undone.");
    QPushButton* clear =
        box.addButton(qt(kClearAllMappingsConfirmButton), QMessageBox::DestructiveRole);
    QPushButton* cancel = box.addButton(qt(kClearAllMappingsCancelButton), QMessageBox::RejectRole);
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    box.exec();
    return box.clickedButton() == clear;
}

std::optional<std::filesystem::path> ShellDialogs::chooseSavePath(
    const std::filesystem::path& folder, const std::string& proposedName) {
    QFileDialog dialog(nullptr, "Save Mappings As", qt(folder.string()));
    dialog.setObjectName("saveMappingsPanel");
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix("json");
    dialog.selectFile(qt(proposedName));
    return runFileDialog(dialog);
}

std::optional<std::filesystem::path> ShellDialogs::chooseProfileToLoad(
    const std::filesystem::path& folder) {
    QFileDialog dialog(nullptr, "Load Mappings", qt(folder.string()));
    dialog.setObjectName("chooseMappingsPanel");
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::ExistingFile);
    return runFileDialog(dialog);
}

void ShellDialogs::inform(const std::string& title, const std::string& text) {
    QMessageBox box(QMessageBox::Information, qt(title), qt(title), QMessageBox::Ok);
    box.setObjectName("informationAlert");
    box.setInformativeText(qt(text));
    box.exec();
}

ProjectRecallAnswer ShellDialogs::ask(const ProjectRecallPrompt& prompt) {
    QMessageBox box(QMessageBox::Question, qt(prompt.title), qt(prompt.title));
    box.setObjectName("recallAlert");
    box.setInformativeText(qt(prompt.message));
    QPushButton* saveAndLoad = box.addButton(qt(prompt.saveAndLoadButton), QMessageBox::AcceptRole);
    QPushButton* load = box.addButton(qt(prompt.loadButton), QMessageBox::AcceptRole);
    QPushButton* keep = box.addButton(qt(prompt.keepButton), QMessageBox::RejectRole);
    box.setDefaultButton(saveAndLoad);
    box.setEscapeButton(keep);
    box.exec();
    if (box.clickedButton() == saveAndLoad)
        return ProjectRecallAnswer::saveCurrentAndLoad;
    if (box.clickedButton() == load)
        return ProjectRecallAnswer::load;
    return ProjectRecallAnswer::keepCurrent;
}

}  // namespace tessiva
