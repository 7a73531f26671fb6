#include "platform_linux/images/image_requests.h"

#include <algorithm>
#include <limits>
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
  auto request = std::make_shared<Request>(Request{0, std::move(work), false});
  // Without any thread of its own the request's only hope is the caller's.
  const bool isRunHere = isSynchronous || lane.threads.empty();
  PHImageRequestID id = 0;
  {
    const NSLockHolder held(lock_);
    id = lastId_ == std::numeric_limits<PHImageRequestID>::max() ? 1 : lastId_ + 1;
    lastId_ = id;
    if (shutDown_) return id;
    request->id = id;
    open_[id] = request;
    if (isRunHere) {
      ++running_;
    } else {
      lane.waiting.push_back(std::move(request));
      lane.arrived.signal();
    }
  }
  if (isRunHere) run(std::move(request));
  return id;
}

void ImageRequests::cancel(PHImageRequestID id) {
  const NSLockHolder held(lock_);
  const auto found = open_.find(id);
  if (found == open_.end()) return;
  found->second->cancelled = true;
  auto& waiting = laneOf(found->second->work).waiting;
  const auto place = std::ranges::find(waiting, found->second);
  if (place != waiting.end()) std::rotate(waiting.begin(), place, place + 1);
}

void ImageRequests::beginShutDown() {
  // What handlers hold may be anything, so they go outside the lock.
  std::deque<std::shared_ptr<Request>> dropped[2];
  {
    const NSLockHolder held(lock_);
    shutDown_ = true;
    std::swap(dropped[0], small_.waiting);
    std::swap(dropped[1], large_.waiting);
    for (const auto& ofLane : dropped) {
      for (const auto& each : ofLane) open_.erase(each->id);
    }
    for (Lane* lane : {&small_, &large_}) lane->arrived.broadcast();
  }
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
  while (auto request = next(lane)) run(std::move(request));
}

std::shared_ptr<ImageRequests::Request> ImageRequests::next(Lane& lane) {
  const NSLockHolder held(lock_);
  while (lane.waiting.empty() && !shutDown_) lane.arrived.wait(lock_);
  if (lane.waiting.empty()) return nullptr;
  auto request = std::move(lane.waiting.front());
  lane.waiting.pop_front();
  ++running_;
  return request;
}

void ImageRequests::run(std::shared_ptr<Request> request) noexcept {
  std::optional<Result<Delivery>> outcome;
  if (isWanted(*request)) outcome = request->work.run(Progress(*this, *request));
  const Ending ending = end(*request);
  PHImageInfo info = infoOf(request->id, false);
  if (ending == Ending::cancelled) {
    info.set(PHImageCancelledKey, true);
    request->work.giveUp(info);
  } else if (ending == Ending::usual && *outcome) {
    (**outcome)(info);
  } else if (ending == Ending::usual) {
    info.set(PHImageErrorKey, presented(outcome->error()));
    request->work.giveUp(info);
  }
  // The handler is let go of before the request counts as over.
  outcome.reset();
  request.reset();
  const NSLockHolder held(lock_);
  if (--running_ == 0) finished_.broadcast();
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
