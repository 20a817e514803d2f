#include "storage/ApplicationFolder.h"

#include "platform/ApplicationInfo.h"
#include "platform/PrivateFiles.h"

QString ApplicationFolder::path(const ApplicationInfo& information) {
    return information.applicationSupportDirectory() + u'/' + PrivateFiles::ownFolderName;
}
