#include "screens/gates/ForcedUpdateModel.h"

#include "application/AppStateManager.h"
#include "platform/Desktop.h"

ForcedUpdateModel::ForcedUpdateModel(const Dependencies& dependencies)
    : deps_(dependencies) {
    connect(&deps_.appState, &AppStateManager::changed, this, &ForcedUpdateModel::changed);
}

std::optional<QString> ForcedUpdateModel::latestVersion() const {
    return deps_.appState.forceUpdateLatestVersion();
}

bool ForcedUpdateModel::hasDownload() const {
    return deps_.appState.forceUpdateDownloadURL().has_value();
}

void ForcedUpdateModel::openDownload() {
    if (const auto& url = deps_.appState.forceUpdateDownloadURL())
        deps_.desktop.open(*url);
}
