#pragma once

#include "Host/Desktop/Isolation/ViewProcess.h"
#include "Host/Support/DescriptorWaiter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <poll.h>
#include <random>
#include <unistd.h>
#include <utility>
#include <vector>

/// Plays the processes of views at their ends of the connections: most behave well for a while, and
/// then die, hang or say what makes no sense. The host's side is the real one.
class PlayedViews final : public Lumivera::DescriptorWatch {
  public:
    explicit PlayedViews(std::mt19937 &random) : _random(random) {}

    Lumivera::ViewMaker maker() {
        return [this](const Lumivera::ViewRequest &request,
                      Lumivera::RemoteView::Listener &listener) { return make(request, listener); };
    }

    /// Lets the views act and the host hear of it. Call it in a call-out of the main run loop, many
    /// times a second.
    void act() {
        std::erase_if(_players, [](const auto &player) { return !player->act(); });
        const std::vector<Lumivera::DescriptorSource *> sources = _sources;
        for (Lumivera::DescriptorSource *const source : sources) {
            if (std::find(_sources.begin(), _sources.end(), source) != _sources.end()) {
                source->serve();
            }
        }
    }

    /// The views whose connection has not been ended by either side.
    std::size_t count() const { return _players.size(); }
    std::size_t sources() const { return _sources.size(); }
    int misdeeds() const { return _misdeeds; }

  private:
    class Player;

    std::unique_ptr<Lumivera::RemoteView> make(const Lumivera::ViewRequest &request,
                                               Lumivera::RemoteView::Listener &listener);
    void add(Lumivera::DescriptorSource &source) override { _sources.push_back(&source); }
    void remove(Lumivera::DescriptorSource &source) override { std::erase(_sources, &source); }

    unsigned random(unsigned below) {
        return std::uniform_int_distribution<unsigned>(0, below - 1)(_random);
    }

    std::mt19937 &_random;
    std::vector<Lumivera::DescriptorSource *> _sources;
    std::vector<std::unique_ptr<Player>> _players;
    int _misdeeds = 0;
};

class PlayedViews::Player {
  public:
    Player(PlayedViews &owner, Lumivera::PacketSocket connection,
           std::shared_ptr<Lumivera::SharedBuffers> memory)
        : _owner(owner), _connection(std::move(connection)), _memory(std::move(memory)),
          _turnsToLoad(
              static_cast<int>(owner.random(4) == 0 ? owner.random(300) : owner.random(20))) {}

    /// False when the connection has ended.
    bool act() {
        if (_hangs) {
            return isConnected();
        }
        if (!takeOrders()) {
            return false;
        }
        if (_owner.random(kTurnsToMisdeed) == 0) {
            return misbehave();
        }
        behave();
        return true;
    }

  private:
    using Report = Lumivera::ViewReport;
    using Order = Lumivera::ViewOrder;

    static constexpr unsigned kTurnsToMisdeed = 400;
    static constexpr std::uint32_t kDrawn = 0xFF000000;

    /// For whoever hangs, which reads nothing.
    bool isConnected() const {
        pollfd state{_connection.descriptor(), 0, 0};
        return poll(&state, 1, 0) == 0 || (state.revents & POLLHUP) == 0;
    }

    bool takeOrders() {
        for (;;) {
            Order order;
            Lumivera::PacketSocket::Packet packet;
            switch (_connection.receive(&order, sizeof order, Lumivera::PacketSocket::Wait::No,
                                        packet)) {
            case Lumivera::PacketSocket::Outcome::Nothing:
                return true;
            case Lumivera::PacketSocket::Outcome::Ended:
                return false;
            case Lumivera::PacketSocket::Outcome::Received:
                if (packet.attached >= 0) {
                    close(packet.attached);
                }
                take(order);
            }
        }
    }

    void take(const Order &order) {
        switch (order.kind) {
        case Order::Kind::Draw:
            _allowed = order.index;
            break;
        case Order::Kind::Run:
            _isRunning = true;
            break;
        case Order::Kind::Rest:
            _isRunning = false;
            ++_answersDue;
            break;
        case Order::Kind::Ping:
            ++_answersDue;
            break;
        case Order::Kind::Set:
            _petalsDue += Lumivera::valuesFrom(order.values).petals ? 1 : 0;
            break;
        default:
            break;
        }
    }

    void behave() {
        if (!std::exchange(_isConfined, true)) {
            send(Report::Kind::Confined);
        }
        for (; _answersDue > 0; --_answersDue) {
            send(Report::Kind::Answer);
        }
        if (--_turnsToLoad > 0) {
            return;
        }
        for (; _petalsDue > 0; --_petalsDue) {
            send(Report::Kind::Petals);
        }
        if (_allowed && (_isRunning || _frames == 0)) {
            draw(*std::exchange(_allowed, std::nullopt));
        }
    }

    void draw(unsigned index) {
        ++_frames;
        std::fill_n(_memory->pixels(index), _memory->bufferBytes() / 4, kDrawn + _frames);
        send(Report::Kind::Picture, index);
    }

    /// False when it has died. A picture that it only claims to have drawn would be empty, which is
    /// its own affair; so there is something in the memory.
    bool misbehave() {
        ++_owner._misdeeds;
        std::fill_n(_memory->pixels(0), _memory->bytes() / 4, kDrawn);
        switch (_owner.random(6)) {
        case 0:
            return false;
        case 1:
            _hangs = true;
            break;
        case 2:
            sendNonsense();
            break;
        case 3:
            send(Report::Kind::Picture, _owner.random(4));
            break;
        case 4:
            send(Report::Kind::Answer);
            break;
        default:
            send(Report::Kind::Failure);
            break;
        }
        return true;
    }

    void sendNonsense() {
        Report report;
        auto *const bytes = reinterpret_cast<unsigned char *>(&report);
        const std::size_t size = _owner.random(sizeof report);
        for (std::size_t i = 0; i < size; ++i) {
            bytes[i] = static_cast<unsigned char>(_owner.random(256));
        }
        report.kind = static_cast<Report::Kind>(_owner.random(10));
        _connection.send(&report, size, Lumivera::PacketSocket::Wait::No);
    }

    void send(Report::Kind kind, std::uint32_t index = 0) const {
        Report report;
        report.kind = kind;
        report.index = index;
        report.petals = 30;
        report.count = 1;
        report.rects[0] = {0, 0, 8, 8};
        _connection.send(&report, offsetof(Report, rects) + sizeof report.rects[0],
                         Lumivera::PacketSocket::Wait::No);
    }

    PlayedViews &_owner;
    const Lumivera::PacketSocket _connection;
    const std::shared_ptr<Lumivera::SharedBuffers> _memory;
    std::optional<unsigned> _allowed;
    std::uint32_t _frames = 0;
    int _turnsToLoad;
    int _answersDue = 0;
    int _petalsDue = 1;
    bool _isConfined = false;
    bool _isRunning = true;
    bool _hangs = false;
};

inline std::unique_ptr<Lumivera::RemoteView>
PlayedViews::make(const Lumivera::ViewRequest &request, Lumivera::RemoteView::Listener &listener) {
    auto ends = Lumivera::PacketSocket::makePair();
    Lumivera::ViewProcess::Start start{request, {}};
    start.connection = &ends.first;
    auto view = std::make_unique<Lumivera::ViewProcess>(*this, start, listener);
    _players.push_back(std::make_unique<Player>(*this, std::move(ends.second), request.memory));
    return view;
}
