// SPDX-License-Identifier: MIT
// The two walkers over a layout. They know nothing of any field but the packet's length.
#include <libsec/packet.h>

#include <cstdio>

#include "base/bytes.h"

int32_t packet_parse(zolt_context *context, packet_layout *layout) {
  const int32_t received = context->data_length;
  uint32_t offset = 0;
  for (packet_field *row = layout; row->name != nullptr; ++row) {
    uint8_t *field = context->packet + offset;
    if (row->set == nullptr) {
      const int32_t reported = static_cast<int32_t>(libsec::load_be16(field));
      if (reported != received) {
        std::puts("packet length error");
        std::printf("reported length = %d, actual length = %d", reported, received);
        return -1;
      }
    } else {
      if (row->set(context, offset, &row->length, row->text, field) != 0) return -1;
      if (row->compare != nullptr && row->compare(context, offset, &row->length, row->text, field) != 0) return -1;
    }
    offset += row->length;  // after the handlers, which fill variable lengths in
    if (int64_t{offset} > received) {
      std::puts("offset is too big for data");
      return -1;
    }
  }
  return 0;
}

int32_t packet_generate(zolt_context *context, packet_layout *layout) {
  const packet_field *length_row = nullptr;
  uint32_t length = 0;
  context->data_length = 0;
  for (packet_field *row = layout; row->name != nullptr; ++row) {
    if (row->get == nullptr) {
      length_row = row;
      length += row->length;
    } else {
      length += static_cast<uint32_t>(row->get(context, row->offset, &row->length, row->text, context->packet));
    }
    context->data_length = static_cast<int32_t>(length);
  }
  if (length_row != nullptr) libsec::store_be16(context->packet + length_row->offset, length);
  context->data = context->packet;
  return 0;
}
