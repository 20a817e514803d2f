#!/usr/bin/python3
"""Brings faults that were mended back into a copy of the sources, one at a time, and lives simulated lives until one
complains. Exits 1 when a fault survives all its lives, or when its text is not in the sources any more."""

import argparse
import pathlib
import random
import re
import shutil
import subprocess
import sys
from typing import NamedTuple

ROOT = pathlib.Path(__file__).resolve().parents[2]
COPY = ROOT / "build" / "planted"  # kept, so that the next run builds what changed
SIMULATE = COPY / "build/release/tests/simulation/velmora-simulate"
LARGEST_SEED = 4_000_000_000
SECONDS_PER_LIFE = 60  # one that takes longer has hung


class Fault(NamedTuple):
    name: str
    edits: list  # of (file, old text, new text); white space in the old text matches any


FAULTS = [
    Fault("a found session is billed up to the moment that it is found", [
        ("SessionRecovery.cpp", "settledEnd(open.startedAt, lastAlive, now)", "settledEnd(open.startedAt, now, now)")]),
    Fault("a session found on another day is billed up to midnight", [
        ("SessionRecovery.cpp", "settleOpenInterval(stale, now);",
         "if (!stale.intervals.empty() && !stale.intervals.back().stoppedAt) stale.intervals.back().stoppedAt = "
         "std::min(now, SegmentUtils::startOfDayAfter(stale.intervals.back().startedAt, 1, engineTimeZone())"
         ".value_or(now));")]),
    Fault("a running row outlives its end and overwrites the history", [
        ("SessionJournal.cpp", "store_.clearActiveSession(session.id, step.domainKey)", "true"),
        ("StoreStatements.h", "WHERE domain_key = ? AND id NOT IN (SELECT id FROM session_history)",
         "WHERE domain_key = ?"),
        ("StoreStatements.h", '"INSERT INTO session_history', '"INSERT OR REPLACE INTO session_history'),
        ("StoreStatements.h", '"VALUES (?, ?, ?, ?, ?, ?, ?, ?)\\n" "ON CONFLICT(id) DO NOTHING;"',
         '"VALUES (?, ?, ?, ?, ?, ?, ?, ?);"')]),
    Fault("an interval closes on the wrong side of a midnight that no tick has seen", [
        ("SessionManager.cpp", "maybePerformMidnightRolloverIfNeeded(end);", "")]),
    Fault("what ran between a moved midnight and its tick is lost", [
        ("SessionRecovery.cpp", "next = days.back();", "")]),
    Fault("today ends after 24 hours", [
        ("SessionToday.cpp", "SegmentUtils::startOfDayAfter(now, 1, engineTimeZone()).value_or(now)",
         "from + 86400")]),
    Fault("a session that begins paused is never announced", [
        ("SessionManager.cpp", "if (beginsNow)", "if (beginsNow && !isTracking_)")]),
    Fault("a session that never ran reports an end", [
        ("SessionManager.cpp", "if (endReport == EndReport::none || session.intervals.empty())",
         "if (endReport == EndReport::none)")]),
    Fault("midnight turns idleness into a plain pause", [
        ("SessionRecovery.cpp", "begin(next);", "isIdle_ = needsIdleDecision_ = false; begin(next);")]),
    Fault("midnight withdraws an open question", [
        ("SessionRecovery.cpp", "begin(next);", "needsIdleDecision_ = false; begin(next);")]),
    Fault("a late notice of idleness pauses a resumed session", [
        ("SessionIdle.cpp", "if (weak && weak->deps_.idleDetector.isCurrent(run))", "if (weak)")]),
    Fault("a rejected sign-in drops the configuration before it ends the session", [
        ("CompanyAccount.cpp", "if (deps_.sessionManager.isTracking())",
         "deps_.sessionManager.applyConfig(std::nullopt); if (deps_.sessionManager.isTracking())")]),
    Fault("a rejected sign-in forgets the company before it ends the session", [
        ("AuthService.cpp", "if (authSessionDidInvalidate_)", "forgetCompany(); if (authSessionDidInvalidate_)")]),
    Fault("input counts begin at zero after a recovery", [
        ("SessionRecovery.cpp", "{session.mouseCount, session.keyboardCount, session.activityScore}", "{0, 0, 0}")]),
    Fault("each pause puts the next picture off", [
        ("ScreenCaptureService.cpp", "std::exchange(sessionId_, sessionId) == sessionId",
         "std::exchange(sessionId_, sessionId).isNull()")]),
    Fault("no heartbeat without a picture", [
        ("SessionCapture.cpp", "callbacks.onCaptureFailed = later(&SessionManager::reportRunning);", "")]),
    Fault("a slot that is entered again is overwritten", [
        ("StoreStatements.h", "min(600, non_idle_seconds + excluded.non_idle_seconds)", "excluded.non_idle_seconds")]),
    Fault("a display that takes no more clients counts as a revoked permission", [
        ("ScreenCaptureService.cpp", "error.isDenial ? ", "true ? ")]),
    Fault("a request answered 401 is repeated for another company", [
        ("AuthorizedExchange.cpp", "if (access_.endpoints.origin() != origin)", "if (false)")]),
    Fault("a configuration under way for the former company is joined", [
        ("RemoteConfigService.cpp", "if (!flight_ || flight_->signIn != signIn)", "if (!flight_)"),
        ("RemoteConfigService.cpp", "if (auth_.signIn() == signIn)", "if (auth_.signIn() == signIn || flight_)")]),
    Fault("the configuration cache serves another company", [
        ("RemoteConfigService.cpp", "return owner == auth_.signIn().domainKey ? config : std::nullopt;",
         "return config;")]),
    Fault("a launch replaces the company's zone by the machine's", [
        ("CompanyAccount.cpp", "if (const auto cached = deps_.remoteConfig.cachedConfig()) apply(*cached);",
         "deps_.sessionManager.applyConfig(std::nullopt);"),
        ("SessionManager.cpp", "if (config_) deps_.timeZones.store(deps_.timeZones.timezoneIdentifierForAPI(&*config_));",
         "deps_.timeZones.store(deps_.timeZones.timezoneIdentifierForAPI(config_ ? &*config_ : nullptr));")]),
    Fault("a slot is sent with the zone of the moment", [
        ("SegmentBatch.cpp", "row.timezone.isEmpty() ? timezoneIdentifier : row.timezone", "timezoneIdentifier")]),
    Fault("a missing configuration is fetched after half an hour", [
        ("CompanyAccount.cpp", "deps_.appState.remoteConfig() ? afterInterval : atOnce", "afterInterval")]),
    Fault("rows belong to a company and not to a person", [
        ("DomainStorage.cpp", "user.isEmpty() ? companyOf(url) :", "true ? companyOf(url) :")]),
    Fault("rows belong to a host and not to its port", [
        ("DomainStorage.cpp", "return url.adjusted(QUrl::RemoveUserInfo).authority() + path;", "return url.host();")]),
    Fault("a failed write is not repeated", [
        ("SessionJournal.cpp", "return !failure_;", "failure_.reset(); return true;")]),
    Fault("a take-over ends whichever session runs", [
        ("SessionManager.cpp", "if (!currentSession_ || currentSession_->id != sessionId)",
         "if (!currentSession_)")]),
    Fault("rows of a session overtake its start", [
        ("StoreStatements.h", "AND (type = 'startSession' OR NOT EXISTS", "AND (1 OR NOT EXISTS")]),
    Fault("the direct heartbeat overtakes the start", [
        ("UploadSenders.cpp", "|| startOf(session.id, domainKey) == SessionStart::waiting", "")]),
    Fault("a web page counts as a delivered picture", [
        ("UploadTransport.cpp", "if (isWebPage(response))", "if (false && isWebPage(response))")]),
    Fault("a reply of another shape counts as a delivery", [
        ("UploadSenders.cpp", "if (!TrackingEndpointResponse::isOfToldShape(reply))", "if (false)")]),
    Fault("a refresh without a verdict counts as an attempt", [
        ("AuthorizedExchange.cpp", 'throw NotRefreshed(u"The sign-in could not be refreshed."_s);',
         "throw APIError::unauthorized();")]),
    Fault("a time-out counts as an attempt", [
        ("FailureClassifier.cpp", "catch (const URLError&) { return RescheduleOffline{};",
         "catch (const URLError&) { return Retry{};")]),
    Fault("a redirect or a proxy's status counts as an attempt", [
        ("FailureClassifier.cpp", "if (isNoVerdict(status))", "if (false && isNoVerdict(status))")]),
    Fault("attempts are counted while the server is known to be down", [
        ("FailureClassifier.cpp", "if (task.isServerDown &&", "if (false &&")]),
    Fault("a session's end is discarded at the sixth failure", [
        ("UploadService.cpp", "maxRetries + (isSessionReport(task) ? maxHourlyRetries : 0)", "maxRetries")]),
    Fault("Retry-After is ignored", [
        ("FailureClassifier.cpp", "return std::clamp(secondsUntil(error.retryAfter(), now), 0.0, longest);",
         "return std::min({0.0, longest, secondsUntil(error.retryAfter(), now)});")]),
    Fault("half-written pictures are sent", [
        ("CaptureFileName.cpp", "name.endsWith(ending, Qt::CaseInsensitive)", "name.contains(ending)")]),
    Fault("an idle cut lies before its interval", [
        ("IdlePolicy.cpp", "std::max(last.startedAt, *cutoff)", "*cutoff")]),
]


def copy_sources():
    """Files that did not change keep their time, so that they are not built again."""
    files = subprocess.check_output(["git", "ls-files"], cwd=ROOT, text=True).split("\n")
    tracked = {pathlib.Path(file) for file in files if (ROOT / file).is_file()}
    for old in COPY.rglob("*"):
        path = old.relative_to(COPY)
        if old.is_file() and path.parts[0] != "build" and path not in tracked:
            old.unlink()
    for path in tracked:
        target = COPY / path
        if not target.exists() or target.read_bytes() != (ROOT / path).read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / path, target)


def planted(fault):
    """The changed files and their new texts; nothing when an old text is not there exactly once."""
    texts = {}
    for name, old, new in fault.edits:
        pattern = re.compile(r"\s+".join(re.escape(word) for word in old.split()))
        file = next((COPY / "Velmora_TimeTracker").rglob(name), None)
        text = texts.get(file) or (file.read_text() if file else "")
        if len(pattern.findall(text)) != 1:
            return None
        texts[file] = pattern.sub(lambda _: new, text)
    return texts


def build():
    build = ["cmake", "--build", "build/release", "--target", "velmora-simulate"]
    done = subprocess.run(build, cwd=COPY, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    errors = re.findall("error: .*", done.stdout) or [done.stdout]
    return "" if done.returncode == 0 else f"does not build: {errors[0]}"


def live(first, lives):
    """How many lives it took until one complained, and of what; no text when none did."""
    command = [SIMULATE, "--first", str(first), "--seeds", str(lives), "--days", "1.5", "--stop-at-first"]
    try:
        done = subprocess.run(command, text=True, stdout=subprocess.PIPE, timeout=lives * SECONDS_PER_LIFE)
    except subprocess.TimeoutExpired:
        return lives, "hangs"
    if done.returncode == 0:
        return lives, ""
    complaint = re.search(r"^seed (\d+):\n  (.*)", done.stdout, re.M)
    return (int(complaint[1]) - first + 1, complaint[2]) if complaint else (lives, f"ends with {done.returncode}")


def judge(fault, first, lives):
    """A line of the table, and whether the fault was caught."""
    texts = planted(fault)
    if texts is None:
        return "text not found", False
    former = {file: file.read_text() for file in texts}
    try:
        for file, text in texts.items():
            file.write_text(text)
        problem = build()
        if problem:
            return problem, False
        count, complaint = live(first, lives)
        return (f"{count:3}  {complaint}", True) if complaint else (f"SURVIVED {lives} lives", False)
    finally:
        for file, text in former.items():
            file.write_text(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--only", metavar="NAME", default="", help="the faults whose name contains it")
    parser.add_argument("--lives", metavar="N", type=int, default=40)
    parser.add_argument("--first", metavar="S", type=int, default=random.randrange(LARGEST_SEED))
    options = parser.parse_args()
    copy_sources()
    subprocess.run(["cmake", "--preset", "release"], cwd=COPY, check=True, stdout=subprocess.DEVNULL)
    if problem := build():
        return problem
    print(f"lives from seed {options.first} on", flush=True)
    caught = True
    for fault in (fault for fault in FAULTS if options.only in fault.name):
        line, is_caught = judge(fault, options.first, options.lives)
        caught = caught and is_caught
        print(f"{fault.name:75} {line}", flush=True)
    return 0 if caught else 1


if __name__ == "__main__":
    sys.exit(main())
