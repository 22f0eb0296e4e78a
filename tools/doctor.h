// SPDX-License-Identifier: MIT
// `vx310ctl doctor`: checks all that the panel needs, one after the other. Nothing is changed or
// started, and every wait has a limit.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace vx310ctl {

enum class Verdict { kOk, kWarning, kFault };

struct Finding {
  const char* check;
  Verdict verdict;
  std::string text;
  std::string advice;  // what to do; empty when there is nothing to do
};

// What was found so far, with the names of people and paths or with placeholders for them.
class Diagnosis {
 public:
  explicit Diagnosis(bool redact) : redact_(redact) {}

  void ok(const char* check, const std::string& text) { add(check, Verdict::kOk, text, ""); }
  void warn(const char* check, const std::string& text, const std::string& advice) {
    add(check, Verdict::kWarning, text, advice);
  }
  void fault(const char* check, const std::string& text, const std::string& advice) {
    add(check, Verdict::kFault, text, advice);
  }

  // For texts: a path or an address that holds one, and a user's name.
  std::string path(const std::string& path) const { return redact_ ? "(path)" : path; }
  std::string person(uid_t user) const;

  const std::vector<Finding>& findings() const { return findings_; }
  Verdict worst() const;

 private:
  void add(const char* check, Verdict verdict, const std::string& text, const std::string& advice) {
    findings_.push_back({check, verdict, text, advice});
  }

  bool redact_;
  std::vector<Finding> findings_;
};

// The checks, in groups. checkDriver() returns how many VX-310 interfaces are connected.
int checkDriver(Diagnosis& diagnosis);
void checkAudio(Diagnosis& diagnosis, bool hasInterface);
void checkStores(Diagnosis& diagnosis);
void checkInstallation(Diagnosis& diagnosis);

}  // namespace vx310ctl
