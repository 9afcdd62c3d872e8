#include "publishing/folder_digests.h"

#include <algorithm>

#include "framework/tarvo_import.h"
#include "platform/event.h"

CFolderDigests::CFolderDigests(std::vector<CString> paths, const CEvent* stop)
    : paths_(std::move(paths)), stop_(stop), digests_(paths_.size()), errors_(paths_.size()),
      done_(paths_.size(), false) {
  // Reading and hashing keep a processor busy each; the consumer's transfers mostly wait.
  size_t count = std::min<size_t>({std::max(2u, std::thread::hardware_concurrency()), 8u, paths_.size()});
  for (size_t w = 0; w < count; ++w) workers_.emplace_back([this] { Work(); });
}

CFolderDigests::~CFolderDigests() {
  cancelled_ = true;
  for (std::thread& t : workers_) t.join();
}

void CFolderDigests::Work() {
  for (size_t i; (i = next_++) < paths_.size();) {
    if (cancelled_ || (stop_ && stop_->IsSet())) {
      std::lock_guard<std::mutex> hold(lock_);
      stopped_ = true;
      ready_.notify_all();
      return;
    }
    CString digest;
    std::exception_ptr error;
    try {
      digest = CTarvoImport::DigestFile(paths_[i]);
    } catch (...) {
      error = std::current_exception();
    }
    std::lock_guard<std::mutex> hold(lock_);
    digests_[i] = std::move(digest);
    errors_[i] = error;
    done_[i] = true;
    ready_.notify_all();
  }
}

std::optional<CString> CFolderDigests::Get(size_t index) {
  std::unique_lock<std::mutex> hold(lock_);
  ready_.wait(hold, [&] { return done_[index] || stopped_; });
  if (!done_[index]) return std::nullopt;  // a file still being read when the stop came is not awaited
  if (errors_[index]) std::rethrow_exception(errors_[index]);
  return digests_[index];
}
