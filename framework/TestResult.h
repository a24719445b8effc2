#pragma once

/// Result of a run and return value of the command handlers. Any other value prints "NO VALID RETURN VALUE".
enum TestResult_T : int { TEST_PASSED = 0, TEST_FAILED = 1, OPERATION_PERFORMED = 2, NOT_RECOGNIZED = 3 };
