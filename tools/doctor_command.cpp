// SPDX-License-Identifier: MIT
#include <pwd.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tools/commands.h"
#include "tools/doctor.h"

namespace vx310ctl {

namespace {

const char* wordOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kOk:
      return "ok";
    case Verdict::kWarning:
      return "warning";
    case Verdict::kFault:
      return "fault";
  }
  return "";
}

ExitStatus statusOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kOk:
      return kDone;
    case Verdict::kWarning:
      return kWarning;
    case Verdict::kFault:
      break;
  }
  return kFault;
}

void print(const Diagnosis& diagnosis) {
  for (const Finding& finding : diagnosis.findings()) {
    std::string name = finding.check;
    std::ranges::replace(name, '_', ' ');
    std::printf("%-8s %s: %s\n", wordOf(finding.verdict), name.c_str(),
                printable(finding.text).c_str());
    if (!finding.advice.empty()) std::printf("         -> %s\n", printable(finding.advice).c_str());
  }
}

void printAsJson(const Diagnosis& diagnosis) {
  auto checks = nlohmann::ordered_json::array();
  for (const Finding& finding : diagnosis.findings()) {
    nlohmann::ordered_json check = {{"check", finding.check},
                                    {"verdict", wordOf(finding.verdict)},
                                    {"text", finding.text},
                                    {"advice", nullptr}};
    if (!finding.advice.empty()) check["advice"] = finding.advice;
    checks.push_back(check);
  }
  printJson({{"verdict", wordOf(diagnosis.worst())}, {"checks", checks}});
}

}  // namespace

std::string Diagnosis::person(uid_t user) const {
  if (redact_) return "(user)";
  const passwd* entry = ::getpwuid(user);  // the tool has one thread that looks up names
  return entry ? entry->pw_name : "number " + std::to_string(user);
}

Verdict Diagnosis::worst() const {
  Verdict worst = Verdict::kOk;
  for (const Finding& finding : findings_) worst = std::max(worst, finding.verdict);
  return worst;
}

ExitStatus runDoctor(bool json, bool redact) {
  Diagnosis diagnosis(redact);
  const int interfaces = checkDriver(diagnosis);
  checkAudio(diagnosis, interfaces > 0);
  checkStores(diagnosis);
  checkInstallation(diagnosis);
  json ? printAsJson(diagnosis) : print(diagnosis);
  return statusOf(diagnosis.worst());
}

}  // namespace vx310ctl
