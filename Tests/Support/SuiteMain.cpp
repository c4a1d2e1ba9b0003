// Entry point of every GoogleTest suite: runs the tests and closes with the line that ./test adds up.

#include <cstdio>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    const int status = RUN_ALL_TESTS();
    const testing::UnitTest& run = *testing::UnitTest::GetInstance();
    std::printf("%d passed, %d failed, %d skipped\n", run.successful_test_count(), run.failed_test_count(),
        run.skipped_test_count());
    return status;
}
