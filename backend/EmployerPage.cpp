#include "EmployerPage.h"
namespace backend {
Reply employerPage(State&, const Call&) {
    return Reply(QByteArray("<!doctype html>development tool"), "text/html; charset=utf-8");
}
} // namespace backend
