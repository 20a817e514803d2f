#pragma once

#include <QString>

namespace backend {

/// Thrown by whatever handles a request that a server would refuse: answered as `status` with the reason as
/// {"message": reason}.
struct Refusal {
    int status;
    QString reason;
};

} // namespace backend
