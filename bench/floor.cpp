// The cheapest program on Qt Core: it shows one file. scripts/budgets compares a start with it.

#include <QFile>

#include <cstdio>

int main(int argc, char* argv[])
{
    QFile file(QString::fromLocal8Bit(argv[argc - 1]));
    if (argc != 2 || !file.open(QIODevice::ReadOnly)) {
        return 1;
    }
    const QByteArray contents = file.readAll();
    std::fwrite(contents.constData(), 1, static_cast<std::size_t>(contents.size()), stdout);
    return 0;
}
