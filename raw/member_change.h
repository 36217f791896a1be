// Members that several programs read whole and replace whole: nothing that one of them has changed
// is lost when another writes.

#ifndef RAW_MEMBER_CHANGE_H_
#define RAW_MEMBER_CHANGE_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "raw/member_files.h"

namespace tervalon::raw {

struct MemberContent {
  bool absent = false;
  std::vector<uint8_t> bytes;
};

// Reads a member whole, at most `limit` bytes of it. RAW_OK also for one that is absent.
int32_t ReadMember(int32_t handle, int32_t code, size_t limit, MemberContent* content);

// Makes the new content of a member out of the one that it has: RAW_OK, or an error that leaves the
// member as it is.
using MemberChange =
    std::function<int32_t(const MemberContent& content, std::vector<uint8_t>* fresh)>;

// Changes a member that this handle does not have open, while no other program can. Returns
// RAW_MEMBER_ALREADY_OPEN, RAW_LOCK_FAILED when another program changes it for too long, the error
// of `change`, or a member-file error.
int32_t ChangeMember(int32_t handle, int32_t code, size_t limit, const MemberChange& change);

// A member as its caller sees it: lines or records, in order.
using MemberParts = std::vector<std::string>;

// Notes what a caller has been given of a member whose content is `content`.
void RememberParts(int32_t handle, int32_t code, const MemberContent& content, MemberParts parts);

// Replaces a member by a caller's parts. When others have changed it since the caller read or wrote
// all of it through this handle, the parts that the caller has not changed stay as the others left
// them, and those that others added behind stay behind as long as the caller has not changed their
// number. `split` takes the present content apart.
int32_t WriteParts(int32_t handle, int32_t code, size_t limit, MemberParts parts,
                   const std::function<MemberParts(const std::vector<uint8_t>& bytes)>& split);

// The whole records of a content.
MemberParts SplitRecords(const std::vector<uint8_t>& bytes, size_t record_size);

}  // namespace tervalon::raw

#endif  // RAW_MEMBER_CHANGE_H_
