// An outgoing event: clients connect handlers, the object raises the event and every
// handler runs synchronously, in the order connected.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tarnvik {

template <class... Args>
class Event {
 public:
  using Handler = std::function<void(Args...)>;
  using ConnectionId = uint64_t;

  Event() : state_(std::make_shared<State>()) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  ConnectionId Connect(Handler handler) {
    const ConnectionId id = ++state_->lastId;
    state_->handlers.emplace_back(id, std::move(handler));
    return id;
  }

  void Disconnect(ConnectionId id) {
    auto& handlers = state_->handlers;
    for (auto it = handlers.begin(); it != handlers.end(); ++it) {
      if (it->first == id) {
        handlers.erase(it);
        return;
      }
    }
  }

  // A handler may connect or disconnect handlers, or even destroy the object that owns
  // this event, while it is being raised: the handlers connected when Raise started are
  // called unless disconnected before their turn, and the handler list stays alive until
  // Raise returns.
  void Raise(Args... args) const {
    if (state_->handlers.empty()) return;
    const std::shared_ptr<State> state = state_;
    const auto snapshot = state->handlers;
    for (const auto& [id, handler] : snapshot) {
      if (state->IsConnected(id) && handler) handler(args...);
    }
  }

  std::size_t HandlerCount() const { return state_->handlers.size(); }

 private:
  struct State {
    std::vector<std::pair<ConnectionId, Handler>> handlers;
    ConnectionId lastId = 0;
    bool IsConnected(ConnectionId id) const {
      for (const auto& entry : handlers) {
        if (entry.first == id) return true;
      }
      return false;
    }
  };

  std::shared_ptr<State> state_;
};

}  // namespace tarnvik
