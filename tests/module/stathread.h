/// A thread with a single-threaded apartment that runs actions for other threads.
#pragma once

#include <functional>
#include <stdexcept>
#include <thread>

#include <windows.h>

#include "tests/module/threads.h"

/// It handles messages while it waits, so that calls from other apartments arrive. It ends with this object.
///
///     StaThread sta;
///     sta.Do([&] { object = Create(); });
class StaThread {
  public:
    StaThread() {
        m_thread = std::thread([this] { Run(); });
        WaitForSingleObject(m_done, INFINITE);
    }
    StaThread(const StaThread&) = delete;
    StaThread& operator=(const StaThread&) = delete;
    ~StaThread() {
        PostThreadMessageW(m_id, WM_QUIT, 0, 0);
        m_thread.join();
        CloseHandle(m_done);
    }

    /// Runs `action` in the apartment and waits for it. Call it from the multi-threaded apartment, since it waits
    /// without handling messages. `action` must not throw.
    void Do(std::function<void()> action) {
        if (PostThreadMessageW(m_id, doAction, 0, reinterpret_cast<LPARAM>(&action)) == FALSE) {
            throw std::runtime_error("cannot send a message to the apartment's thread");
        }
        WaitForSingleObject(m_done, INFINITE);
    }

  private:
    static constexpr UINT doAction = WM_APP;

    void Run() {
        const ApartmentOf apartment(ApartmentOf::SingleThreaded);
        MSG message = {};
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE); // creates the thread's message queue
        m_id = GetCurrentThreadId();
        SetEvent(m_done);
        while (GetMessageW(&message, nullptr, 0, 0) > 0) {
            if (message.hwnd == nullptr && message.message == doAction) {
                (*reinterpret_cast<std::function<void()>*>(message.lParam))();
                SetEvent(m_done);
            } else {
                DispatchMessageW(&message);
            }
        }
    }

    const HANDLE m_done = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    DWORD m_id = 0;
    std::thread m_thread;
};
