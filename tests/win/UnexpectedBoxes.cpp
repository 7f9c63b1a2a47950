// A question box that no test expects would wait for a click that never
// comes; in the test program every such box fails the test instead and is
// answered No. Tests that expect boxes install their own answers.
#include <gtest/gtest.h>

#include "app/AskUser.h"

namespace {

int RefuseUnexpectedBox(const char* caption, const char* text, UINT) {
    ADD_FAILURE() << "unexpected message box " << caption << ": " << text;
    return IDNO;
}

class RefuseUnexpectedBoxes : public ::testing::Environment {
public:
    void SetUp() override { SetAskUserHook(RefuseUnexpectedBox); }
    void TearDown() override { SetAskUserHook(nullptr); }
};

[[maybe_unused]] ::testing::Environment* const g_environment =
    ::testing::AddGlobalTestEnvironment(new RefuseUnexpectedBoxes);

}  // namespace
