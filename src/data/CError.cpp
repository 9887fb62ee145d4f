#include "data/CError.h"

#include "automation/member_table.h"

namespace quarno {
namespace {

using namespace automation;

constexpr Member kMembers[] = {
    property<&CError::m_Number>("m_Number", "Number of the error, 0 when none has been recorded."),
    property<&CError::m_Description>("m_Description", "Text of the error."),
    property<&CError::m_Source>("m_Source", "Where the error arose."),
};

}  // namespace

std::span<const automation::Member> CError::members() { return kMembers; }

}  // namespace quarno
