#include "framework/TestControllerBase.h"
#include "framework/UnitPaths.h"

#include <algorithm>

namespace
{
// The touchscreen's type could not be read.
constexpr char c_TqPlaceholder[] = "Tqxx\n";

QString Path(const char* path) { return QString::fromLatin1(path); }

bool IsNamed(const Product_T& product, IdentityFile file, const QByteArray& contents)
{
    // Compared with its length: bytes after a zero byte count as well.
    const std::string_view identity(contents.constData(), static_cast<std::size_t>(contents.size()));
    return product.identityFile == file && !identity.empty() &&
           std::ranges::find(product.identities, identity) != product.identities.end();
}
} // namespace

unsigned int TestControllerBase::GetProductId()
{
    const bool isVarrow = FileExists(Path(UnitPaths::c_VarrowProductId));
    const QString path = Path(isVarrow ? UnitPaths::c_VarrowProductId : UnitPaths::c_PelionProductId);
    if (!isVarrow && !FileExists(path)) {
        return 0;
    }
    const QByteArray contents = ReadWholeFile(path).value_or(QByteArray());
    const IdentityFile file = isVarrow ? IdentityFile::Varrow : IdentityFile::Pelion;
    const auto named = [&](const Product_T& product) { return IsNamed(product, file, contents); };

    const auto products = Products();
    const auto product = std::ranges::find_if(products, named);
    const auto refuse = [this](const char* message) {
        Message(std::string(message), nullptr, true, false);
        return 0U;
    };
    if (product == products.end()) {
        return refuse(isVarrow                      ? "No valid product ID.\n"
                      : contents == c_TqPlaceholder ? "No valid product ID: Check touchscreen.\n"
                                                    : "No Product ID found.\n");
    }
    if (product->board.high == 0) {
        return product->code;
    }
    const int reading = ReadFileContents(Path(UnitPaths::c_SonarBoardId)).toInt();
    const auto board = std::ranges::find_if(products, [&](const Product_T& candidate) {
        return named(candidate) && candidate.board.low <= reading && reading < candidate.board.high;
    });
    return board == products.end() ? refuse("ERROR: No Sonar Board Id.\n") : board->code;
}

QString TestControllerBase::VersionText()
{
    // The build has neither an identifier nor a version; the lines are part of the printed contract.
    return QStringLiteral("Test App Build ID: \nTest App Version: 0.0");
}

QString TestControllerBase::GetUnitData(const QString& command)
{
    const auto shown = [this](const char* path) -> std::string {
        QByteArray contents;
        std::string messages;
        const bool isRead = GetFileContents(Path(path), contents, &messages) == OPERATION_PERFORMED;
        // Up to a zero byte, because the block is printed as a C string and the verdict follows it.
        return isRead ? contents.constData() : messages;
    };
    const std::string line = std::string(34, '/') + "\n";
    const bool isVarrow = FileExists(Path(UnitPaths::c_VarrowProductId));

    std::string block = "\n\n\n" + line + "Unit Data for bug reports: \n";
    block += "Command:\t\t\t" + command.toLatin1().toStdString() + "\n";
    // The misspelt label is part of the printed contract.
    block += "Platfrom: \t\t\t" +
             shown(isVarrow ? UnitPaths::c_VarrowProductId : UnitPaths::c_PelionProductId) + "\n";
    block += VersionText().replace(QLatin1String(": "), QLatin1String(":\t\t")).toStdString() + "\n";
    block += "MFD Application Version: \t" + shown(UnitPaths::c_ApplicationVersion);
    block += "Platform Version: \t\t" + shown(UnitPaths::c_PlatformVersion);
    block += "Serial Number: \t\t\t" + shown(UnitPaths::c_SerialNumber);
    return QString::fromLatin1(block + line);
}
