#include "framework/OutputStrings.h"

#include <algorithm>
#include <iterator>

namespace
{
struct Row_T {
    OutputStrings_T key;
    std::string_view text;
};

// The header of the usage has two keys, on purpose.
constexpr std::string_view c_ValidArguments = "\n\nValid arguments are as follows: \n\n";

constexpr Row_T c_Rows[] = {
    {OUT_TEST_PASSED, "Test Result: Test Passed.\n"},
    {OUT_TESTS_FAILED, "Test Result: Tests Failed.\n"},
    {OUT_OPERATION_PERFORMED, "Test Result: Operation Performed.\n"},
    {OUT_FIRST_PARAMETER_NOT_RECOGNIZED, "ERROR: First Parameter not recognized: "},
    {OUT_NO_VALID_RETURN_VALUE, "NO VALID RETURN VALUE\n"},
    {OUT_DEFAULT_DURATION, "Illegal or missing duration parameter. Using default value: 3."},
    {OUT_COMPOSITE_VIDEO_SHOWN, "Composite video has been shown.\n"},
    {OUT_CHARACTERS_WRITTEN, "Characters written back: "},
    {OUT_CHARACTERS_READ, "Characters read in: "},
    {OUT_WRITE_FAILED, "ERROR: Write failed.\n"},
    {OUT_READ_FAILED, "ERROR: Read failed.\n"},
    {OUT_VALID_ARGUMENTS, c_ValidArguments},
    {OUT_EXPECTED_KEY, "Expected key: "},
    {OUT_ACTUAL_KEY, "\nActual key: "},
    {OUT_NO_KEY_PRESS, "\nNo Key press detected.\n"},
    {OUT_CORRECTLY_PRESSED, " correctly pressed.\n"},
    {OUT_INCORRECT_KEY_PRESS, "ERROR: Incorrect Key Press.\n"},
    {OUT_BUZZER_SOUNDED, "Buzzer sounded.\n"},
    {OUT_BUZZER_FAILED, "ERROR: Failed to start buzzer.\n"},
    {OUT_FAILED_TO_OPEN_PORT, "ERROR: Failed to open port.\n"},
    {OUT_COLOUR_SHOWN, "Colour successfully shown.\n"},
    {OUT_LINEARIZATION_BASE64_SIZE, "ERROR: Input (Base64) Linearization data must be 136 bytes.\n"},
    {OUT_FAILED_TO_WRITE_FILE, "ERROR: Failed to write to file:"},
    {OUT_INVALID_BRIGHTNESS, "ERROR: Invalid brightness level.\n"},
    {OUT_INCORRECT_PARAMETER_COUNT, "ERROR: Incorrect Parameter Count.\n"},
    {OUT_FILE_NOT_FOUND, "ERROR: File not found:"},
    {OUT_CALIBRATION_ENDED, "Calibration Ended.\n"},
    {OUT_TEST_ENDED, "Test Ended.\n"},
    {OUT_FAILED_TO_OPEN_FILE, "ERROR: Failed to open file:"},
    {OUT_LINEARIZATION_NOT_APPLIED, "ERROR: LINEARIZATION data not applied.\n"},
    {OUT_LINEARIZATION_BINARY_SIZE, "ERROR: Binary Linearization data must be 100 bytes.\n"},
    {OUT_NOT_EOL_TESTS, "\n\nThe following Tests are not EOL tests.\n"},
    {OUT_CHECK_IF_TEST_FAILS, "\nCheck the following if test fails or behaves unexpectedly:\n\n"},
    {OUT_TOUCHSCREEN_NOT_CALIBRATED, "ERROR: Touchscreen must be calibrated before running tests.\n"},
    {OUT_VALID_ARGUMENTS_HEADER, c_ValidArguments},
    {OUT_INCORRECT_FILE_CONTENTS, "ERROR: Incorrect File Contents.\n"},
    {OUT_EMPTY_FILE, "Empty File.\n"},
    {OUT_CHANNEL_OUT_OF_RANGE, "Channel Out Of Range (1-14)"},
    {OUT_RATE_OUT_OF_RANGE,
     "Rate Out Of Range (1 (1Mbps), 2 (2Mbps), 4 (5.5Mbps), 8 (6Mbps),\n 16 (9Mbps), 32 (11Mbps), 64 "
     "(12Mbps), 128 (18Mbps), \n512 (24Mbps), 1024 (36Mbps), 2048 (48Mbps), 4096 (54Mbps))\n"},
    {OUT_POWER_OUT_OF_RANGE, "Power Out Of Range (0 to 20000 (dBm * 1000))\n"},
    {OUT_REFERENCE_POWER_OUT_OF_RANGE, "Ref Power Out Of Range (0-999)\n"},
    {OUT_REFERENCE_LEVEL_OUT_OF_RANGE, "Ref Level Out Of Range (0-999)\n"},
    {OUT_BAND_OUT_OF_RANGE, "Band Out Of Range (x-xxx)\n"},
    {OUT_GPS_WRITE_FAILED, "ERROR: Failed to write to GPS device node.\n"},
    {OUT_GATHERING_RECEIVE_STATISTICS, "Gathering Receive Statistics: Hit any Key when complete.\n"},
    {OUT_DRIVER_RESTART_FAILED, "Driver restart failed.\n"},
    {OUT_TOUCHSCREEN_OPERATIONAL, "Touchscreen operational, trace finger around screen edge now. screen now. "
                                  "Ensure the cursor always follows finger.\n"},
    {OUT_ILLEGAL_MAC_ADDRESS, "ERROR: MAC Address illegal format. Valid format is xx:xx:xx:xx:xx:xx\n"},
    {OUT_ILLEGAL_IP_ADDRESS,
     "ERROR: IP Address illegal format. Valid format is IPv4 Dot Decimal xxx.xxx.xxx.xxx.xxx\n"},
    {OUT_INVALID_ENCRYPTION_KEY, "ERROR: Invalid Encryption Key.\n"},
    {OUT_NO_WIFI_CALIBRATION_FILE,
     "ERROR: WiFi Calibration file does not exist, failed to generate reference file.\n"},
    {OUT_TOO_MANY_CHARACTERS, "ERROR: Too many characters. Arbitary paramter limit of 300 characters."},
    {OUT_SD_CARDS_NOT_MOUNTED,
     "ERROR: One or both SD cards not mounted. Ensure an SD Card is present in each slot.\n"},
    {OUT_LINEARIZATION_CONVERSION_FAILED, "Linearization conversion failed.\n"},
    {OUT_REBOOT_UNIT, "IMPORTANT: Reboot unit.\n"},
    {OUT_NO_TOUCH_TOP_MIDDLE, "No touch detected: Top Middle.\n"},
    {OUT_NO_TOUCH_BOTTOM_MIDDLE, "No touch detected: Bottom Middle.\n"},
    {OUT_NO_TOUCH_LEFT_MIDDLE, "No touch detected: Left Middle.\n"},
    {OUT_NO_TOUCH_RIGHT_MIDDLE, "No touch detected: Right Middle.\n"},
    {OUT_NO_TOUCH_TOP_LEFT, "No touch detected: TopLeft Corner.\n"},
    {OUT_NO_TOUCH_BOTTOM_RIGHT, "No touch detected: BottomRight Corner.\n"},
    {OUT_NO_TOUCH_TOP_RIGHT, "No touch detected: TopRight Corner.\n"},
    {OUT_NO_TOUCH_BOTTOM_LEFT, "No touch detected: BottomLeft Corner.\n"},
    {OUT_ASCII_ENCODING_FAILED, "Failed to ASCII encode binary.\n"},
    {OUT_IMAGE_SIZE_MISMATCH,
     "Image Size Does Not Match Screen Res, this will not cause test will not fail.\nDetails:\n"},
    {OUT_SUSPECT_TOUCH_CHANNEL, "Suspect ADJ Channel. (Check /corvane/Data/Log/syslog/current.)\n"},
    {OUT_NO_TOUCHSCREEN_INITIALISATION,
     "No record of Touchscreen Initialisation. (Check /corvane/Data/Log/syslog/current.)\n"},
};
} // namespace

std::string_view COutputStringTable::operator[](OutputStrings_T key) const
{
    const auto* const row = std::ranges::find(c_Rows, key, &Row_T::key);
    return row == std::end(c_Rows) ? std::string_view() : row->text;
}
