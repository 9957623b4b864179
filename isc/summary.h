// The ISC summary reader, for the compare as well: the blocks of an ISC data file with their
// rows, read without a device record.
#ifndef FUSEKIT_ISC_SUMMARY_H
#define FUSEKIT_ISC_SUMMARY_H

#include <deque>

#include "fusekit/isc.h"
#include "fusekit/progdata.h"

namespace fusekit::isc {

// The rows of one data block as the file holds them, each of the block's row width.
struct IscBlockRows {
  SVFDataField rows;
  SVFDataField terminate;
};

// GetISCSummary, keeping each block's rows in rows (one entry a block of summary.blocks) when
// rows is not null. The same results.
int ReadIscFile(const char* fileName, ISCSummary& summary, std::deque<IscBlockRows>* rows);

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_SUMMARY_H
