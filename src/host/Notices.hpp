#pragma once
// Message boxes on a server without a screen: each text is kept, word for word, for the
// dashboard's notice area, written to the diagnostic log when it is on, and echoed on stderr.

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tavkelo {

struct Notice {
  uint64_t sequence = 0;
  std::string text;
  int style = 0;  // the platform's message-box style value (16 critical, 4096 system-modal, ...)
};

class Notices {
 public:
  // Shows a "message box": keeps it and passes it to the listeners.
  void MessageBox(const std::string& text, int style = 0);
  // The notices after `afterSequence`, oldest first (at most the last 100 are kept).
  std::vector<Notice> Since(uint64_t afterSequence) const;
  uint64_t LastSequence() const;
  // Called for every notice (the log adds its line through this).
  void AddListener(std::function<void(const Notice&)> listener);
  void SetEchoToStderr(bool echo) { echo_ = echo; }

 private:
  mutable std::mutex mutex_;
  std::deque<Notice> kept_;
  uint64_t next_ = 1;
  bool echo_ = true;
  std::vector<std::function<void(const Notice&)>> listeners_;
};

}  // namespace tavkelo
