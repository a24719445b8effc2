#include "simulator/UnitDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace fs = std::filesystem;

CUnitDirectory::CUnitDirectory()
{
    std::string name = fs::temp_directory_path() / "sonarbench-sim-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make the unit's directory " + name);
    }
    m_Path = name;
}

CUnitDirectory::~CUnitDirectory()
{
    std::error_code ignored; // nobody is left to tell
    for (fs::recursive_directory_iterator entry(m_Path, ignored), end; entry != end;
         entry.increment(ignored)) {
        if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
            fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
        }
    }
    fs::remove_all(m_Path, ignored);
}
