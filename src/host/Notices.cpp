#include "host/Notices.hpp"

#include <cstdio>

namespace tavkelo {

void Notices::MessageBox(const std::string& text, int style) {
  Notice notice;
  std::vector<std::function<void(const Notice&)>> listeners;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    notice = Notice{next_++, text, style};
    kept_.push_back(notice);
    while (kept_.size() > 100) kept_.pop_front();
    listeners = listeners_;
  }
  if (echo_) std::fprintf(stderr, "TavKeloASM notice: %s\n", text.c_str());
  for (const auto& listener : listeners) listener(notice);
}

std::vector<Notice> Notices::Since(uint64_t afterSequence) const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Notice> out;
  for (const Notice& n : kept_) {
    if (n.sequence > afterSequence) out.push_back(n);
  }
  return out;
}

uint64_t Notices::LastSequence() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return next_ - 1;
}

void Notices::AddListener(std::function<void(const Notice&)> listener) {
  std::lock_guard<std::mutex> lock(mutex_);
  listeners_.push_back(std::move(listener));
}

}  // namespace tavkelo
