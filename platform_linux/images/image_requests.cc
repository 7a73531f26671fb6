#include "platform_linux/images/image_requests.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "platform_linux/dispatch/background_thread.h"
#include "platform_linux/errors/presented.h"

namespace quorvin {

namespace {

PHImageInfo infoOf(PHImageRequestID id, bool isDegraded) {
  PHImageInfo info;
  info.set(PHImageResultIsDegradedKey, isDegraded);
  info.set(PHImageResultIsInCloudKey, false);
  info.set(PHImageResultRequestIDKey, std::int64_t{id});
  return info;
}

}  // namespace

ImageRequests::ImageRequests(std::size_t threadCount) {
  for (std::size_t i = 0; i < std::max<std::size_t>(threadCount, 1); ++i) {
    for (Lane* lane : {&small_, &large_}) {
      std::thread thread = startThread("quorvin-images", [this, lane] { serve(*lane); });
      if (thread.joinable()) lane->threads.push_back(std::move(thread));
    }
  }
}

ImageRequests::~ImageRequests() {
  shutDown();
}

PHImageRequestID ImageRequests::start(bool isSynchronous, Work work) {
  Lane& lane = laneOf(work);
  auto request = std::make_shared<Request>(Request{.id = 0, .work = std::move(work)});
  // Without any thread of its own the request's only hope is the caller's.
  const bool isRunHere = isSynchronous || lane.threads.empty();
  PHImageRequestID id = 0;
  Requests runHere;
  {
    const NSLockHolder held(lock_);
    id = lastId_ == std::numeric_limits<PHImageRequestID>::max() ? 1 : lastId_ + 1;
    lastId_ = id;
    if (shutDown_) return id;
    request->id = id;
    open_[id] = request;
    if (isRunHere) {
      runHere.push_back(std::move(request));
      group(runHere);
    } else {
      lane.waiting.push_back(std::move(request));
      lane.arrived.signal();
    }
  }
  if (isRunHere) run(std::move(runHere));
  return id;
}

void ImageRequests::cancel(PHImageRequestID id) {
  std::shared_ptr<Group> unwanted;
  {
    const NSLockHolder held(lock_);
    const auto found = open_.find(id);
    if (found == open_.end() || found->second->cancelled) return;
    Request& request = *found->second;
    request.cancelled = true;
    Lane& lane = laneOf(request.work);
    if (std::erase(lane.waiting, found->second) > 0) lane.cancelled.push_back(found->second);
    if (request.group && --request.group->wanted == 0) unwanted = request.group;
  }
  // Ends a worker, perhaps.
  if (unwanted) unwanted->stop.request_stop();
}

void ImageRequests::beginShutDown() {
  // What handlers hold may be anything, so they go outside the lock.
  std::deque<std::shared_ptr<Request>> dropped[4];
  Requests running;
  {
    const NSLockHolder held(lock_);
    shutDown_ = true;
    std::swap(dropped[0], small_.waiting);
    std::swap(dropped[1], small_.cancelled);
    std::swap(dropped[2], large_.waiting);
    std::swap(dropped[3], large_.cancelled);
    for (const auto& ofLane : dropped) {
      for (const auto& each : ofLane) open_.erase(each->id);
    }
    for (const auto& [id, each] : open_) running.push_back(each);
    for (Lane* lane : {&small_, &large_}) lane->arrived.broadcast();
  }
  for (const auto& each : running) each->group->stop.request_stop();
}

void ImageRequests::shutDown() {
  beginShutDown();
  {
    const NSLockHolder held(lock_);
    while (running_ > 0) finished_.wait(lock_);
  }
  for (Lane* lane : {&small_, &large_}) {
    for (std::thread& each : lane->threads) {
      if (each.joinable()) each.join();
    }
  }
}

void ImageRequests::serve(Lane& lane) {
  for (;;) {
    Requests requests = next(lane);
    if (requests.empty()) return;
    run(std::move(requests));
  }
}

ImageRequests::Requests ImageRequests::next(Lane& lane) {
  const NSLockHolder held(lock_);
  while (lane.waiting.empty() && lane.cancelled.empty() && !shutDown_) lane.arrived.wait(lock_);
  Requests next;
  if (!lane.cancelled.empty()) {
    next.push_back(NewestFirst::takeOldest(lane.cancelled));
  } else if (!lane.waiting.empty()) {
    next.push_back(lane.order.take(lane.waiting));
    const std::string key = next.front()->work.key;
    const auto isAnother = [&key](const auto& each) {
      return key.empty() || each->work.key != key;
    };
    const auto equal = std::stable_partition(lane.waiting.begin(), lane.waiting.end(), isAnother);
    next.insert(next.end(), equal, lane.waiting.end());
    lane.waiting.erase(equal, lane.waiting.end());
  }
  group(next);
  return next;
}

void ImageRequests::group(Requests& requests) {
  const auto group = std::make_shared<Group>(Group{{}, 0});
  for (const auto& each : requests) {
    each->group = group;
    if (!each->cancelled) ++group->wanted;
  }
  running_ += requests.size();
}

void ImageRequests::run(Requests requests) noexcept {
  // The results are kept until all have theirs, for what is alive need not be made again.
  std::vector<std::optional<Result<Delivery>>> outcomes(requests.size());
  for (std::size_t i = 0; i < requests.size(); ++i) {
    const Request& request = *requests[i];
    if (!isWanted(request)) continue;
    try {
      outcomes[i] = request.work.run(Progress(*this, request, request.group->stop.get_token()));
    } catch (const std::bad_alloc&) {
      outcomes[i] = Failure(LibraryErrorCode::internal, "memory ran out.");
    }
  }
  const std::size_t count = requests.size();
  for (std::size_t i = 0; i < count; ++i) {
    finish(*requests[i], outcomes[i]);
    // The handler is let go of before the request counts as over.
    outcomes[i].reset();
    requests[i].reset();
  }
  const NSLockHolder held(lock_);
  running_ -= count;
  if (running_ == 0) finished_.broadcast();
}

void ImageRequests::finish(const Request& request, std::optional<Result<Delivery>>& outcome) {
  const Ending ending = end(request);
  PHImageInfo info = infoOf(request.id, false);
  if (ending == Ending::cancelled) {
    info.set(PHImageCancelledKey, true);
    request.work.giveUp(info);
  } else if (ending == Ending::usual && *outcome) {
    (**outcome)(info);
  } else if (ending == Ending::usual) {
    info.set(PHImageErrorKey, presented(outcome->error()));
    request.work.giveUp(info);
  }
}

bool ImageRequests::isWanted(const Request& request) {
  const NSLockHolder held(lock_);
  return !request.cancelled && !shutDown_;
}

ImageRequests::Ending ImageRequests::end(const Request& request) {
  std::shared_ptr<Request> self;
  const NSLockHolder held(lock_);
  if (const auto found = open_.find(request.id); found != open_.end()) {
    self = std::move(found->second);
    open_.erase(found);
  }
  if (shutDown_) return Ending::dropped;
  return request.cancelled ? Ending::cancelled : Ending::usual;
}

void ImageRequests::Progress::deliverDegraded(const Delivery& delivery) const {
  if (isWanted()) delivery(infoOf(request_.id, true));
}

}  // namespace quorvin
