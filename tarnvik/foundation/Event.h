// An outgoing event: clients connect handlers, the object raises the event and every
// handler runs synchronously, in the order connected.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace tarnvik {

template <class... Args>
class Event {
 public:
  using Handler = std::function<void(Args...)>;
  using ConnectionId = uint64_t;

  Event() = default;
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  ConnectionId Connect(Handler handler) {
    const ConnectionId id = ++lastId_;
    handlers_.emplace_back(id, std::move(handler));
    return id;
  }

  void Disconnect(ConnectionId id) {
    for (auto it = handlers_.begin(); it != handlers_.end(); ++it) {
      if (it->first == id) {
        handlers_.erase(it);
        return;
      }
    }
  }

  // A handler may connect or disconnect handlers while the event is being raised; the
  // ones connected when Raise started are called unless disconnected before their turn.
  void Raise(Args... args) const {
    if (handlers_.empty()) return;
    const auto snapshot = handlers_;
    for (const auto& [id, handler] : snapshot) {
      if (IsConnected(id) && handler) handler(args...);
    }
  }

  std::size_t HandlerCount() const { return handlers_.size(); }

 private:
  bool IsConnected(ConnectionId id) const {
    for (const auto& entry : handlers_) {
      if (entry.first == id) return true;
    }
    return false;
  }

  std::vector<std::pair<ConnectionId, Handler>> handlers_;
  ConnectionId lastId_ = 0;
};

}  // namespace tarnvik
