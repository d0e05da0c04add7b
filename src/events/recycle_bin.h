#pragma once

#include <vector>

#include "operations/log_facts.h"

namespace kest {

// What is deleted to the recycle bin becomes `$R` and six characters there, and gets a twin that begins with `$I` in
// its place, which says where it was. Names of such twins in the log; they show its bytes.
class recycle_bin {
public:
    explicit recycle_bin(const log_facts& facts);

    // The twin of a file of that name in the folder, as UTF-16; empty if the log names none.
    uni::byte_view twin_of(inode_ref folder, uni::byte_view name) const;

private:
    std::vector<file_name_view> m_twins;  // by folder, then by name
};

}  // namespace kest
