// Helpers for the tests of installing and uninstalling: a scratch part of the
// real registry standing in for the user's, the machine's and the classes
// roots, and scripted answers to the message boxes.
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/AskUser.h"
#include "app/Installation.h"

namespace wintest {

// HKCU\Software\VantirelTest\Sandbox-PID-TEST with the subkeys User,
// Machine and Classes; removed again (with everything in it) at the end.
class RegistrySandbox {
public:
    RegistrySandbox() {
        const std::string test = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        root_ =
            "Software\\VantirelTest\\Sandbox-" + std::to_string(GetCurrentProcessId()) + "-" + test;
        Clear();
        user = Create(HKEY_CURRENT_USER, root_ + "\\User");
        machine = Create(HKEY_CURRENT_USER, root_ + "\\Machine");
        classes = Create(HKEY_CURRENT_USER, root_ + "\\Classes");
        places.user = user;
        places.machine = machine;
        places.classes = classes;
    }
    ~RegistrySandbox() {
        RegCloseKey(user);
        RegCloseKey(machine);
        RegCloseKey(classes);
        Clear();
    }
    RegistrySandbox(const RegistrySandbox&) = delete;
    RegistrySandbox& operator=(const RegistrySandbox&) = delete;

    // The settings key as opening the settings gives it (caller closes).
    HKEY OpenSettingsKey() { return Create(user, places.settingsKey); }

    static HKEY Create(HKEY root, const std::string& path) {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExA(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                  nullptr),
                  ERROR_SUCCESS)
            << path;
        return key;
    }
    static bool KeyExists(HKEY root, const std::string& path) {
        HKEY key = nullptr;
        if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
        RegCloseKey(key);
        return true;
    }
    // A value's bytes and type; "<missing>" when the key or value is not
    // there. An empty name is the key's default value.
    static std::string Value(HKEY root, const std::string& path, const char* name,
                             DWORD* type = nullptr) {
        HKEY key = nullptr;
        if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            return "<missing>";
        char data[2048];
        DWORD size = sizeof data;
        DWORD kind = 0;
        const LONG result =
            RegQueryValueExA(key, name, nullptr, &kind, reinterpret_cast<BYTE*>(data), &size);
        RegCloseKey(key);
        if (result != ERROR_SUCCESS) return "<missing>";
        if (type) *type = kind;
        return std::string(data, size);
    }
    // A text value as the program writes them: with its terminating NUL.
    static std::string Text(const std::string& text) { return text + std::string(1, '\0'); }
    // The default value of a key as text (without the NUL), "<missing>" when
    // there is none.
    static std::string Default(HKEY root, const std::string& path) {
        std::string value = Value(root, path, "");
        if (value != "<missing>" && !value.empty() && value.back() == '\0') value.pop_back();
        return value;
    }
    static void SetDefault(HKEY root, const std::string& path, const std::string& text) {
        HKEY key = Create(root, path);
        RegSetValueExA(key, "", 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>(text.size() + 1));
        RegCloseKey(key);
    }
    static void SetText(HKEY root, const std::string& path, const char* name,
                        const std::string& text) {
        HKEY key = Create(root, path);
        RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>(text.size() + 1));
        RegCloseKey(key);
    }
    static int SubkeyCount(HKEY root, const std::string& path) {
        HKEY key = nullptr;
        if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return -1;
        DWORD count = 0;
        RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr, nullptr);
        RegCloseKey(key);
        return static_cast<int>(count);
    }

    RegistryPlaces places;
    HKEY user = nullptr;
    HKEY machine = nullptr;
    HKEY classes = nullptr;

private:
    void Clear() {
        // RegDeleteTreeA: the test's own tool, not the code under test.
        RegDeleteTreeA(HKEY_CURRENT_USER, root_.c_str());
    }
    std::string root_;
};

// One message box the code asked.
struct AskedBox {
    std::string caption;
    std::string text;
    UINT type;
};

// Answers message boxes in turn from a script and records each; a box past
// the end of the script fails the test and is answered No.
class ScriptedAnswers {
public:
    explicit ScriptedAnswers(std::vector<int> answers) : answers_(std::move(answers)) {
        current_ = this;
        previous_ = SetAskUserHook(Answer);
    }
    ~ScriptedAnswers() {
        SetAskUserHook(previous_);
        current_ = nullptr;
    }
    ScriptedAnswers(const ScriptedAnswers&) = delete;
    ScriptedAnswers& operator=(const ScriptedAnswers&) = delete;

    std::vector<AskedBox> asked;

private:
    static int Answer(const char* caption, const char* text, UINT type) {
        ScriptedAnswers* self = current_;
        self->asked.push_back({caption, text, type});
        if (self->asked.size() > self->answers_.size()) {
            ADD_FAILURE() << "unexpected message box " << caption << ": " << text;
            return IDNO;
        }
        return self->answers_[self->asked.size() - 1];
    }
    static inline ScriptedAnswers* current_ = nullptr;
    std::vector<int> answers_;
    AskUserHook previous_ = nullptr;
};

}  // namespace wintest
