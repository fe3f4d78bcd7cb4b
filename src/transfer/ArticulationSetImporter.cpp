#include "transfer/ArticulationSetImporter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <system_error>

#include "osc/OSCManager.h"
#include "osc/PeerEndpointProvider.h"
#include "runtime/AtomicFile.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/UUID.h"
#include "transfer/ArticulationSetTransfer.h"
#include "transfer/PropertyListCheck.h"

namespace tessiva {

namespace {

bool isPropertyListName(const std::filesystem::path& path) {
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension == ".plist";
}

bool isHidden(const std::filesystem::path& relative) {
    for (const auto& part : relative) {
        if (part.string().starts_with("."))
            return true;
    }
    return false;
}

}  // namespace

std::filesystem::path defaultArticulationSetsFolder() {
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home && *home ? home : ".") / "Music" / "Audio Music Apps" /
           "Articulation Settings";
}

std::size_t ArticulationSetImportProgress::count(ArticulationSetOutcome outcome) const {
    return static_cast<std::size_t>(
        std::count_if(results.begin(), results.end(),
                      [&](const ArticulationSetFileResult& r) { return r.outcome == outcome; }));
}

std::string ArticulationSetImportProgress::statusLine() const {
    if (running) {
        return fmt::format("Articulation sets: sending {} of {}{}…", results.size() + 1, fileCount,
                           currentFile ? " (" + *currentFile + ")" : std::string());
    }
    if (results.empty())
        return "Articulation sets: not imported yet";
    const std::size_t imported = count(ArticulationSetOutcome::imported);
    const std::size_t problems = results.size() - imported;
    return fmt::format("Articulation sets: {} of {} imported{}", imported, fileCount,
                       problems ? fmt::format(" ({} not imported)", problems) : std::string());
}

ArticulationSetImporter::~ArticulationSetImporter() {
    acknowledgementTimer_.cancel();
}

void ArticulationSetImporter::log(const std::string& title, const std::string& detail) {
    services_.console.line("[ArticulationSetImport] " + detail);
    postDebugEvent(services_.notifications, title, detail);
}

void ArticulationSetImporter::publish() {
    if (onProgress)
        onProgress(progress_);
}

std::optional<std::string> ArticulationSetImporter::start(const std::filesystem::path& folder) {
    auto refuse = [&](std::string reason) {
        log("Articulation set import not started", reason);
        return std::optional<std::string>(std::move(reason));
    };
    if (progress_.running)
        return refuse("An articulation-set import is already running; wait for it to finish.");
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error)) {
        return refuse("The articulation-sets folder " + folder.string() +
                      " does not exist or is not a folder.");
    }
    std::vector<std::filesystem::path> files;
    std::filesystem::recursive_directory_iterator it(
        folder, std::filesystem::directory_options::skip_permission_denied, error);
    for (; !error && it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
        const auto relative = it->path().lexically_relative(folder);
        std::error_code typeError;
        if (it->is_regular_file(typeError) && isPropertyListName(it->path()) &&
            !isHidden(relative)) {
            files.push_back(it->path());
        }
    }
    if (error)
        return refuse("Could not read the folder " + folder.string() + ": " + error.message());
    if (files.empty())
        return refuse("The folder " + folder.string() + " holds no articulation sets (.plist).");
    if (!services_.peers.activePeerEndpoint()) {
        return refuse(
            "No iPad is connected, so no articulation set was sent. Open Tessiva on "
            "the iPad and try again.");
    }
    std::sort(files.begin(), files.end());
    files_ = std::move(files);
    nextFile_ = 0;
    progress_ = ArticulationSetImportProgress{};
    progress_.running = true;
    progress_.folder = folder;
    progress_.fileCount = files_.size();
    log("Articulation set import started",
        fmt::format("Sending {} articulation set(s) from {} to the iPad, one at a time.",
                    files_.size(), folder.string()));
    sendNextFile();
    return std::nullopt;
}

void ArticulationSetImporter::cancel() {
    if (!progress_.running)
        return;
    acknowledgementTimer_.cancel();
    if (current_)
        finishFile(ArticulationSetOutcome::notSent, "The import was cancelled.");
    nextFile_ = files_.size();
    log("Articulation set import cancelled", "The articulation-set import was cancelled.");
    finishImport();
}

void ArticulationSetImporter::sendNextFile() {
    while (progress_.running && !current_ && nextFile_ < files_.size()) {
        const std::filesystem::path path = files_[nextFile_++];
        const std::string fileName = path.filename().string();
        progress_.currentFile = fileName;
        std::error_code error;
        const auto size = std::filesystem::file_size(path, error);
        std::string readError;
        std::optional<std::string> text;
        if (!error && size > kMaxFileBytes)
            readError = fmt::format("it is {} bytes, larger than any articulation set", size);
        else if (!(text = readWholeFile(path, &readError)) && readError.empty())
            readError = "it could not be read";
        std::optional<std::string> refusal = text ? propertyListRefusal(*text) : readError;
        if (refusal) {
            current_ = Current{path, fileName, {}, {}};
            finishFile(
                ArticulationSetOutcome::notPropertyList,
                fileName + " is not a readable property list (" + *refusal + "). It was not sent.");
            continue;
        }
        current_ = Current{path, fileName, makeUUID(), std::move(*text)};
        progress_.attempt = 0;
        sendAttempt();
    }
    if (progress_.running && !current_ && nextFile_ >= files_.size())
        finishImport();
}

void ArticulationSetImporter::sendAttempt() {
    Current& file = *current_;
    const auto peer = services_.peers.activePeerEndpoint();
    if (!peer) {
        finishFile(ArticulationSetOutcome::notSent,
                   "The iPad disconnected before " + file.fileName + " was acknowledged.");
        // Without an iPad the rest cannot go either.
        while (nextFile_ < files_.size()) {
            current_ = Current{files_[nextFile_], files_[nextFile_].filename().string(), {}, {}};
            ++nextFile_;
            finishFile(ArticulationSetOutcome::notSent,
                       current_->fileName + " was not sent: no iPad is connected.");
        }
        finishImport();
        return;
    }
    ++progress_.attempt;
    const auto messages = articulationSetMessages(file.fileName, file.transferID, file.text);
    for (const auto& message : messages)
        services_.sender.send(peer->host, peer->port, message.address, message.arguments);
    log(progress_.attempt == 1 ? "Articulation set sent" : "Articulation set sent again",
        fmt::format("Sent {} ({} bytes in {} message(s), transfer {}) to {}:{}, attempt {} of {}; "
                    "waiting up to {:.0f} s for the iPad's acknowledgement.",
                    file.fileName, file.text.size(), messages.size(), file.transferID, peer->host,
                    peer->port, progress_.attempt, kMaxAttempts, kAcknowledgementTimeout));
    publish();
    acknowledgementTimer_.cancel();
    acknowledgementTimer_ = services_.mainQueue.postAfter(
        kAcknowledgementTimeout, [this, transferID = file.transferID, attempt = progress_.attempt] {
            acknowledgementTimedOut(transferID, attempt);
        });
}

void ArticulationSetImporter::acknowledgementTimedOut(const std::string& transferID, int attempt) {
    if (!current_ || current_->transferID != transferID || progress_.attempt != attempt)
        return;
    if (attempt < kMaxAttempts) {
        log("Articulation set not acknowledged",
            fmt::format("The iPad did not acknowledge {} within {:.0f} s; sending it again.",
                        current_->fileName, kAcknowledgementTimeout));
        sendAttempt();
        return;
    }
    finishFile(ArticulationSetOutcome::unacknowledged,
               fmt::format("The iPad did not acknowledge {} after {} attempts of {:.0f} s each. "
                           "It was not imported.",
                           current_->fileName, kMaxAttempts, kAcknowledgementTimeout));
    sendNextFile();
}

void ArticulationSetImporter::handleAcknowledgement(const ArticulationSetImportAck& ack) {
    if (!current_ || current_->transferID != ack.transferID) {
        log("Articulation set ACK ignored", "Ignoring an acknowledgement for transfer " +
                                                ack.transferID + ", which is not waiting for one.");
        return;
    }
    acknowledgementTimer_.cancel();
    if (ack.success) {
        finishFile(ArticulationSetOutcome::imported,
                   fmt::format("The iPad imported {}{}.", current_->fileName,
                               ack.message.empty() ? "" : " (" + ack.message + ")"));
    } else {
        finishFile(
            ArticulationSetOutcome::rejectedByIPad,
            fmt::format("The iPad did not import {}: {}.", current_->fileName,
                        ack.message.empty() ? "status \"" + ack.status + "\"" : ack.message));
    }
    sendNextFile();
}

void ArticulationSetImporter::finishFile(ArticulationSetOutcome outcome, std::string message) {
    const bool imported = outcome == ArticulationSetOutcome::imported;
    log(imported ? "Articulation set imported" : "Articulation set not imported",
        fmt::format("[{} of {}] {}", progress_.results.size() + 1, progress_.fileCount, message));
    progress_.results.push_back(
        ArticulationSetFileResult{current_ ? current_->fileName : std::string(), outcome,
                                  progress_.attempt, std::move(message)});
    current_.reset();
    progress_.currentFile.reset();
    progress_.attempt = 0;
    publish();
}

void ArticulationSetImporter::finishImport() {
    progress_.running = false;
    progress_.currentFile.reset();
    current_.reset();
    const std::size_t imported = progress_.count(ArticulationSetOutcome::imported);
    log("Articulation set import finished",
        fmt::format("Imported {} of {} articulation set(s) to the iPad; {} not property lists, "
                    "{} refused by the iPad, {} unacknowledged, {} not sent.",
                    imported, progress_.fileCount,
                    progress_.count(ArticulationSetOutcome::notPropertyList),
                    progress_.count(ArticulationSetOutcome::rejectedByIPad),
                    progress_.count(ArticulationSetOutcome::unacknowledged),
                    progress_.count(ArticulationSetOutcome::notSent)));
    publish();
    if (onFinished)
        onFinished(progress_);
}

}  // namespace tessiva
