/// Threads that use the DLL at the same time in apartments.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <windows.h>

#include <objbase.h>

/// The calling thread's membership in an apartment.
class ApartmentOf {
  public:
    enum Kind { SingleThreaded = COINIT_APARTMENTTHREADED, MultiThreaded = COINIT_MULTITHREADED };

    explicit ApartmentOf(Kind kind) noexcept { CoInitializeEx(nullptr, kind); }
    ApartmentOf(const ApartmentOf&) = delete;
    ApartmentOf& operator=(const ApartmentOf&) = delete;
    ~ApartmentOf() { CoUninitialize(); }
};

/// A barrier. (std::barrier of GCC 12 loses wake-ups on this target.)
class MeetingPoint {
  public:
    /// `whenComplete` runs once, on one of the threads, when all have arrived and before any continues.
    explicit MeetingPoint(
        std::size_t count, std::function<void()> whenComplete = [] {})
        : m_missing(count), m_whenComplete(std::move(whenComplete)) {}

    void ArriveAndWait() {
        std::unique_lock lock(m_mutex);
        if (--m_missing == 0) {
            m_whenComplete();
            m_complete.notify_all();
        } else {
            m_complete.wait(lock, [this] { return m_missing == 0; });
        }
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_complete;
    std::size_t m_missing;
    std::function<void()> m_whenComplete;
};

/// Runs `action(number)` on `count` threads. Every other thread has a single-threaded apartment, the rest share the
/// multi-threaded one.
template <class Action> void RunInApartments(std::size_t count, const Action& action) {
    std::vector<std::thread> threads;
    threads.reserve(count);
    for (std::size_t number = 0; number < count; ++number) {
        threads.emplace_back([&action, number] {
            const ApartmentOf apartment(number % 2 == 0 ? ApartmentOf::SingleThreaded : ApartmentOf::MultiThreaded);
            action(number);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
