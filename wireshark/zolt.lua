-- SPDX-License-Identifier: MIT
-- Dissects the secured sessions of libsec's devices, on UDP and TCP port 161. docs/protocol.md has the bytes.
--
-- Plain SNMP on the same port stays SNMP: a packet is ours by its first four letters. A key log opens the
-- payloads; README.md tells where it comes from. No byte is read before it is known to be there: captures are cut
-- short, and strangers send anything. All in one file, so that copying it installs it.

local zolt = Proto("zolt", "Zolt secured session")

----------------------------------------------------------------------------------------------------------------
-- Names: preferences, states, fields, expert information
----------------------------------------------------------------------------------------------------------------

zolt.prefs.keylog_file = Pref.string("Key log file", "",
  "Text file with a line 'ZOLT <session id> <key>' for each session. Empty: the environment variable ZOLT_KEYLOG.")
zolt.prefs.ports = Pref.range("Ports", "161", "UDP and TCP ports of devices", 65535)

local header_bytes = 16
local version, block_size = 256, 64
local longest_packet = 40000 -- the device's buffer
local key_bytes = 128
local cipher_block_bytes = 8
local block_header_bytes = 4
local login_seconds, session_seconds = 10, 180 -- after WRSP: to log in; to live
local answer_seconds = 5 -- an older request is not what a reply answers

local TCP, UDP = 2, 3 -- pinfo.port_type

local state_names = {
  [0] = "dormant", "WAKE sent", "WRSP sent", "LGIN sent", "logged in", "data", "LOUT sent",
}

local REQUEST, RESPONSE = frametype.REQUEST, frametype.RESPONSE
local f = {
  signature_id = ProtoField.string("zolt.signature_id", "Signature"),
  packet_length = ProtoField.uint16("zolt.packet_length", "Packet length"),
  protocol_version = ProtoField.uint16("zolt.protocol_version", "Protocol version"),
  block_size = ProtoField.uint32("zolt.block_size", "Block size"),
  signing_key_id = ProtoField.uint32("zolt.signing_key_id", "Signing key", base.HEX),
  reserved = ProtoField.uint32("zolt.reserved", "Reserved"),
  session_id = ProtoField.uint32("zolt.session_id", "Session", base.HEX),
  ip_address_length = ProtoField.uint16("zolt.ip_address_length", "Address length"),
  ip_address = ProtoField.ipv4("zolt.ip_address", "Address (ignored)"),
  key_p_length = ProtoField.uint16("zolt.key_p_length", "Prime length"),
  key_p = ProtoField.bytes("zolt.key_p", "Prime p"),
  key_yb_length = ProtoField.uint16("zolt.key_yb_length", "Public value length"),
  key_yb = ProtoField.bytes("zolt.key_yb", "Public value of the station"),
  rsa_length = ProtoField.uint16("zolt.rsa_length", "RSA signature length"),
  rsa = ProtoField.bytes("zolt.rsa", "RSA signature"),
  trailer = ProtoField.bytes("zolt.trailer", "Ignored bytes"),
  dh_gx = ProtoField.bytes("zolt.dh_gx", "Public value of the device"),
  payload = ProtoField.bytes("zolt.payload", "Enciphered payload"),
  crc = ProtoField.uint16("zolt.crc", "CRC", base.HEX),
  crc_status = ProtoField.uint8("zolt.crc.status", "CRC status", base.DEC, { [0] = "bad", [1] = "good" }),
  content_length = ProtoField.uint16("zolt.content_length", "Content length"),
  content = ProtoField.bytes("zolt.content", "Content"),
  text = ProtoField.string("zolt.content.text", "Text"),
  content_session_id = ProtoField.uint32("zolt.content.session_id", "Session", base.HEX),
  lifetime = ProtoField.uint16("zolt.content.lifetime", "Lifetime in seconds"),
  padding = ProtoField.bytes("zolt.padding", "Padding"),
  state = ProtoField.uint8("zolt.state", "Session state after this packet", base.DEC, state_names),
  wake_frame = ProtoField.framenum("zolt.wake_frame", "Session opened in frame"),
  response_in = ProtoField.framenum("zolt.response_in", "Response in frame", base.NONE, RESPONSE),
  response_to = ProtoField.framenum("zolt.response_to", "Response to frame", base.NONE, REQUEST),
  time = ProtoField.relative_time("zolt.time", "Time since the request"),
}
zolt.fields = f

local MALFORMED, PROTOCOL, SEQUENCE = expert.group.MALFORMED, expert.group.PROTOCOL, expert.group.SEQUENCE
local SECURITY, CHECKSUM, DECRYPTION = expert.group.SECURITY, expert.group.CHECKSUM, expert.group.DECRYPTION
local ERROR, WARN, NOTE, CHAT = expert.severity.ERROR, expert.severity.WARN, expert.severity.NOTE, expert.severity.CHAT
local function named(name, text, group, severity)
  return ProtoExpert.new("zolt.expert." .. name, text, group, severity)
end
local e = {
  cut = named("cut", "Cut short by the capture", expert.group.UNDECODED, WARN),
  short = named("short", "Too short", MALFORMED, ERROR),
  signature = named("signature", "Unknown signature", MALFORMED, ERROR),
  version = named("version", "Wrong protocol version", PROTOCOL, ERROR),
  block_size = named("block_size", "Wrong block size", PROTOCOL, ERROR),
  length = named("length", "Wrong packet length", MALFORMED, ERROR),
  too_long = named("too_long", "Longer than the device's buffer", PROTOCOL, ERROR),
  field_length = named("field_length", "Wrong length of a field", PROTOCOL, ERROR),
  prime = named("prime", "Bad Diffie-Hellman prime", SECURITY, WARN),
  degenerate = named("degenerate", "Degenerate Diffie-Hellman value", SECURITY, ERROR),
  trailer = named("trailer", "Bytes behind the signature", PROTOCOL, NOTE),
  payload_length = named("payload_length", "Payload is not whole cipher blocks", MALFORMED, ERROR),
  crc = named("crc", "Wrong CRC", CHECKSUM, ERROR),
  content_length = named("content_length", "Wrong content length", PROTOCOL, WARN),
  content = named("content", "Wrong content", PROTOCOL, ERROR),
  no_key = named("no_key", "No key", DECRYPTION, CHAT),
  no_session = named("no_session", "Missing session", SEQUENCE, NOTE),
  order = named("order", "Wrong packet for the state of the session", SEQUENCE, WARN),
  elapsed = named("elapsed", "Session has elapsed", SEQUENCE, WARN),
  busy = named("busy", "WAKE while another session lives", SEQUENCE, WARN),
  no_request = named("no_request", "No request", SEQUENCE, NOTE),
  pipelined = named("pipelined", "Several requests at once", SEQUENCE, WARN),
}
zolt.experts = e

----------------------------------------------------------------------------------------------------------------
-- XTEA and CRC-16
----------------------------------------------------------------------------------------------------------------

local bits = bit32 or bit
local bxor, lshift, rshift, band = bits.bxor, bits.lshift, bits.rshift, bits.band
local word = 0x100000000
local delta, cycles = 0x9E3779B9, 32

local function load_be32(text, at)
  local a, b, c, d = text:byte(at, at + 3)
  return ((a * 256 + b) * 256 + c) * 256 + d
end

local function store_be32(value)
  return string.char(rshift(value, 24), band(rshift(value, 16), 255), band(rshift(value, 8), 255), band(value, 255))
end

-- The round keys of the key's eight slices of four words: slices[k mod 8] deciphers block k.
local function expand(key)
  local slices = {}
  for slice = 0, 7 do
    local function key_word(index) return load_be32(key, slice * 16 + index * 4 + 1) end
    local phase1, phase2 = {}, {}
    for i = 1, cycles do
      local sum, next_sum = (cycles - i + 1) * delta % word, (cycles - i) * delta % word
      phase1[i] = (sum + key_word(band(rshift(sum, 11), 3))) % word
      phase2[i] = (next_sum + key_word(band(next_sum, 3))) % word
    end
    slices[slice] = { phase1, phase2 }
  end
  return slices
end

local function decipher(slices, text)
  local plain = {}
  for at = 1, #text - cipher_block_bytes + 1, cipher_block_bytes do
    local left, right = load_be32(text, at), load_be32(text, at + 4)
    local slice = slices[(at - 1) / cipher_block_bytes % 8]
    local phase1, phase2 = slice[1], slice[2]
    for i = 1, cycles do
      right = (right - bxor(bxor(lshift(left, 4), rshift(left, 5)) % word + left, phase1[i])) % word
      left = (left - bxor(bxor(lshift(right, 4), rshift(right, 5)) % word + right, phase2[i])) % word
    end
    plain[#plain + 1] = store_be32(left) .. store_be32(right)
  end
  return table.concat(plain)
end

local crc_table = {}
for byte = 0, 255 do
  local register = byte * 256
  for _ = 1, 8 do
    register = register * 2
    if register >= 0x10000 then register = bxor(register - 0x10000, 0x1021) end
  end
  crc_table[byte] = register
end

local function crc16(text, first)
  local register = 0
  for at = first, #text do
    register = bxor(register % 256 * 256, crc_table[bxor((register - register % 256) / 256, text:byte(at))])
  end
  return register
end

----------------------------------------------------------------------------------------------------------------
-- Key log: "ZOLT <session id: 8 hexadecimal digits> <key: 256 hexadecimal digits>", and "#" comments
----------------------------------------------------------------------------------------------------------------

local keylog = { name = nil, text = nil, read_at = nil, keys = {}, odd_lines = 0 }

local function bytes_of_hex(hex)
  return (hex:gsub("%x%x", function(digits) return string.char(tonumber(digits, 16)) end))
end

local function keep_key_line(line)
  local id, key = line:match("^ZOLT%s+(%x+)%s+(%x+)%s*$")
  if id and #id == 8 and #key == 2 * key_bytes then
    local session_id = tonumber(id, 16)
    keylog.keys[session_id] = keylog.keys[session_id] or {}
    table.insert(keylog.keys[session_id], { bytes = bytes_of_hex(key) })
  elseif not line:match("^%s*#") and not line:match("^%s*$") then
    keylog.odd_lines = keylog.odd_lines + 1
  end
end

-- Reads the file when it has changed, so that a session can be watched while it runs; looks once a second at most.
local function refresh_keylog()
  if keylog.read_at == os.time() then return end
  keylog.read_at = os.time()
  local preferred = zolt.prefs.keylog_file
  keylog.name = preferred ~= "" and preferred or os.getenv("ZOLT_KEYLOG")
  local file = keylog.name and io.open(keylog.name, "r")
  local text = file and file:read("*a") -- nil for a folder
  if file then file:close() end
  if text == keylog.text then return end
  keylog.text, keylog.keys, keylog.odd_lines = text, {}, 0
  for line in (text or ""):gmatch("[^\r\n]+") do keep_key_line(line) end
end

local function keys_of(session_id)
  if not keylog.keys[session_id] then refresh_keylog() end
  return keylog.keys[session_id] or {}
end

local function why_no_key(session_id)
  if not keylog.name then return "No key log: neither the preference zolt.keylog_file nor ZOLT_KEYLOG is set" end
  if not keylog.text then return "The key log " .. keylog.name .. " cannot be read" end
  local odd = keylog.odd_lines > 0 and string.format(" (%d lines are not understood)", keylog.odd_lines) or ""
  return string.format("The key log %s has no key of session %08x%s", keylog.name, session_id, odd)
end

----------------------------------------------------------------------------------------------------------------
-- Sessions. They are followed when a packet is seen for the first time; what was found out then stays in its note.
----------------------------------------------------------------------------------------------------------------

-- What a kind of packet asks for or answers, the states it fits, and the state it leads to. (An ENCR can be both:
-- its row is that of a request; see kind_row.)
local kinds = {
  WAKE = { request = true, state = 1 },
  WRSP = { answers = "WAKE", fits = { [1] = true }, state = 2 },
  LGIN = { request = true, fits = { [2] = true, [3] = true }, state = 3, bytes = 32 },
  ACK1 = { answers = "LGIN", fits = { [3] = true }, state = 4, bytes = 40 },
  ENCR = { request = true, fits = { [4] = true, [5] = true }, state = 5 },
  LOUT = { request = true, fits = { [2] = true, [3] = true, [4] = true, [5] = true, [6] = true }, state = 6, bytes = 32 },
  ACK2 = { answers = "LOUT", fits = { [6] = true }, state = 0, bytes = 40 },
}
local encr_reply = { answers = "ENCR", fits = { [5] = true }, state = 5 }

local sessions, waiting, newest, notes -- waiting: WAKE seen, WRSP not; newest: of each conversation

local function forget_sessions() sessions, waiting, newest, notes = {}, {}, {}, {} end
forget_sessions()

local function endpoint(address, port) return tostring(address) .. " " .. port end

local function conversation_of(pinfo)
  local a, b = endpoint(pinfo.src, pinfo.src_port), endpoint(pinfo.dst, pinfo.dst_port)
  return pinfo.port_type .. " " .. (a < b and a .. " " .. b or b .. " " .. a)
end

local function kind_row(kind, session, pinfo)
  if kind ~= "ENCR" then return kinds[kind] end
  local to_device = pinfo.dst_port == pinfo.match_uint
  if session.station then to_device = session.station == endpoint(pinfo.src, pinfo.src_port) end
  return to_device and kinds.ENCR or encr_reply
end

local function lives(session, now)
  if not session or not session.answered or session.state == 0 then return false end
  return now - session.answered <= (session.state >= 4 and session_seconds or login_seconds)
end

-- The session of a packet: opened by a WAKE, confirmed by its WRSP, and unknown when the capture began later.
local function session_of(kind, name, conversation, pinfo)
  if kind == "WAKE" then
    waiting[name] = { state = 1, wake_frame = pinfo.number, station = endpoint(pinfo.src, pinfo.src_port), asked = {} }
    return waiting[name]
  elseif kind == "WRSP" and waiting[name] then
    sessions[name], waiting[name] = waiting[name], nil
    newest[conversation] = sessions[name]
    sessions[name].answered = pinfo.rel_ts
  elseif not sessions[name] or (sessions[name].state == 0 and waiting[name]) then
    sessions[name] = not waiting[name] and { orphan = true, asked = {} } or nil
  end
  return sessions[name] or waiting[name]
end

local function link_to_request(note, session, row, pinfo)
  local asked = session.asked[row.answers] or {}
  while asked[1] and pinfo.rel_ts - asked[1].time > answer_seconds do table.remove(asked, 1) end
  local request = table.remove(asked, 1)
  if request then
    request.response_in = pinfo.number
    note.response_to, note.after = request.frame, pinfo.rel_ts - request.time
  elseif not session.orphan then
    note.problem(e.no_request, "No request is waiting for this answer")
  end
end

local function judge_order(note, session, row, kind, now)
  if session.orphan then note.problem(e.no_session, "The WAKE of this session was not captured") end
  if session.answered and kind ~= "WRSP" and session.state ~= 0 and not lives(session, now) then
    note.problem(e.elapsed, string.format("The session has elapsed: answered %.1f s ago", now - session.answered))
  end
  local before = session.state
  if not before or not row.fits or row.fits[before] then return true end
  local detail = before == 1 and " before WRSP" or string.format(" in state %d (%s)", before, state_names[before])
  note.problem(e.order, kind .. detail .. (row.request and ": the device does not answer" or ""))
  return not row.request and kind ~= "WRSP"
end

local function follow(kind, session_id, identity, pinfo)
  if notes[identity] then return notes[identity] end
  local conversation = conversation_of(pinfo)
  local now = pinfo.rel_ts
  local note = { frame = pinfo.number, time = now, problems = {} }
  notes[identity] = note
  note.problem = function(which, text) table.insert(note.problems, { which, text }) end
  local live = newest[conversation]
  if kind == "WAKE" and lives(live, now) then
    note.problem(e.busy, string.format("The session opened in frame %d still lives: the device does not answer",
      live.wake_frame))
  end

  local session = session_of(kind, conversation .. " " .. session_id, conversation, pinfo)
  local row = kind_row(kind, session, pinfo)
  note.session, note.row = session, row
  if judge_order(note, session, row, kind, now) then session.state = row.state end
  if row.request then
    -- A station has one request in flight: over UDP, an older one without an answer was lost.
    if pinfo.port_type ~= TCP or not session.asked[kind] then session.asked[kind] = {} end
    table.insert(session.asked[kind], note)
  else
    link_to_request(note, session, row, pinfo)
  end
  note.state = session.state
  return note
end

local function show_note(tree, note)
  local session = note.session
  local function generated(field, value) if value then tree:add(field, value):set_generated() end end
  generated(f.state, note.state)
  generated(f.wake_frame, session.wake_frame ~= note.frame and session.wake_frame)
  generated(f.response_in, note.response_in)
  generated(f.response_to, note.response_to)
  if note.after then
    local microseconds = math.floor(note.after * 1000000 + 0.5)
    generated(f.time, NSTime.new(math.floor(microseconds / 1000000), microseconds % 1000000 * 1000))
  end
  for _, problem in ipairs(note.problems) do tree:add_proto_expert_info(problem[1], problem[2]) end
end

----------------------------------------------------------------------------------------------------------------
-- Layouts: { field, offset, bytes, check }. A check gets the tree's item, the bytes and the packet.
----------------------------------------------------------------------------------------------------------------

local function must_be(expected, problem)
  return function(item, range)
    local value = range:uint()
    if value ~= expected then item:add_proto_expert_info(problem, string.format("%d, must be %d", value, expected)) end
  end
end

local function check_packet_length(item, range, packet)
  if range:uint() ~= packet.length then
    item:add_proto_expert_info(e.length, string.format("The field says %d, the packet has %d bytes", range:uint(),
      packet.length))
  end
end

-- Big-endian numbers of equal length, as strings. (The operator would compare as the user's language sorts.)
local function is_less(a, b)
  for at = 1, #a do
    if a:byte(at) ~= b:byte(at) then return a:byte(at) < b:byte(at) end
  end
  return false
end

local function check_prime(item, range, packet)
  local p = range:raw()
  packet.note.session.p = p
  if p:byte(-1) % 2 == 0 then item:add_proto_expert_info(e.prime, "Even: the device refuses it") end
  if p:byte(1) < 128 then item:add_proto_expert_info(e.prime, "Shorter than 1024 bits") end
end

-- Values that fix the shared secret whatever the other side has drawn.
local function check_public_value(item, range, packet)
  local p, value = packet.note.session.p, range:raw()
  local zeros = string.rep("\0", key_bytes - 1)
  local which
  if value == zeros .. "\0" then
    which = "0"
  elseif value == zeros .. "\1" then
    which = "1"
  elseif p and value == p:sub(1, -2) .. string.char(p:byte(-1) - p:byte(-1) % 2) and p:byte(-1) % 2 == 1 then
    which = "p - 1"
  elseif p and not is_less(value, p) then
    which = "not below p"
  end
  if which then item:add_proto_expert_info(e.degenerate, "The value is " .. which .. ": no secret is shared") end
end

local length_128 = must_be(key_bytes, e.field_length)
local header_rows = {
  { f.signature_id, 0, 4 },
  { f.packet_length, 4, 2, check_packet_length },
  { f.protocol_version, 6, 2, must_be(version, e.version) },
}
local payload_rows = {
  { f.block_size, 8, 4, must_be(block_size, e.block_size) },
  { f.session_id, 12, 4 },
}
local rows_of = {
  WAKE = {
    { f.signing_key_id, 8, 4 },
    { f.session_id, 12, 4 },
    { f.ip_address_length, 16, 2, must_be(4, e.field_length) },
    { f.ip_address, 18, 4 },
    { f.key_p_length, 22, 2, length_128 },
    { f.key_p, 24, key_bytes, check_prime },
    { f.key_yb_length, 152, 2, length_128 },
    { f.key_yb, 154, key_bytes, check_public_value },
    { f.rsa_length, 282, 2, length_128 },
    { f.rsa, 284, key_bytes },
  },
  WRSP = {
    { f.reserved, 8, 4, must_be(block_size, e.block_size) },
    { f.session_id, 12, 4 },
    { f.dh_gx, 16, key_bytes, check_public_value },
  },
  LGIN = payload_rows, ACK1 = payload_rows, ENCR = payload_rows, LOUT = payload_rows, ACK2 = payload_rows,
}
local wake_bytes, wrsp_bytes = 412, 144
-- Fixed contents: a text, the session, and a lifetime. The device does not look at the lengths of those it receives.
local contents = {
  LGIN = { text = "LOGIN", bytes = 9 },
  ACK1 = { text = "LOGGEDIN", bytes = 14, exact = true },
  LOUT = { text = "LOGOUT", bytes = 10 },
  ACK2 = { text = "LOGGEDOUT", bytes = 13, exact = true },
}

----------------------------------------------------------------------------------------------------------------
-- The payload block: CRC (2 bytes), content length (2), content, padding
----------------------------------------------------------------------------------------------------------------

-- Hands bytes to another dissector. What that finds malformed it shows itself; here it must not end the dissection.
-- Deliberate: of a packet that was not captured whole it gets a copy, which seems to end where the bytes end. Reading
-- beyond them would otherwise leave Lua by a way that loses some of its stack, until no packet is dissected any more.
local function hand_to(dissector, tvb, pinfo, tree)
  if tvb:captured_len() < tvb:reported_len() or pinfo.fragmented then
    tree:add_proto_expert_info(e.cut, "Cut short by the capture; it may be called malformed for that")
    if tvb:captured_len() == 0 then return 0 end
    tvb = tvb:bytes():tvb("Captured part")
  end
  local done, used = pcall(function() return dissector:call(tvb, pinfo, tree) end)
  return done and used or tvb:captured_len()
end

local function block_bytes(content_bytes)
  return (math.floor((content_bytes + block_header_bytes) / cipher_block_bytes) + 1) * cipher_block_bytes
end

local function content_length_of(plain) return plain:byte(3) * 256 + plain:byte(4) end
local function crc_of(plain) return plain:byte(1) * 256 + plain:byte(2) end

-- Sessions may have had the same id: the right key is the one under which the CRC is right, and better still the
-- length too, as one wrong key in 65536 passes the CRC. Returns nil without any key.
local function open_block(session, session_id, enciphered)
  local candidates = { session.key }
  for _, key in ipairs(keys_of(session_id)) do candidates[#candidates + 1] = key end
  local first, passed
  for _, key in ipairs(candidates) do
    key.slices = key.slices or expand(key.bytes)
    local plain = decipher(key.slices, enciphered)
    first = first or plain
    if crc16(plain, block_header_bytes + 1) == crc_of(plain) then
      passed = passed or plain
      if block_bytes(content_length_of(plain)) == #plain then
        session.key = key
        return plain
      end
    end
  end
  return passed or first
end

local function show_fixed_content(tree, kind, range, session_id)
  local expected = contents[kind]
  local text_bytes = #expected.text
  if range:len() < expected.bytes then
    tree:add_proto_expert_info(e.content, "Too short for '" .. expected.text .. "' and a session")
    return
  end
  local text = tree:add(f.text, range(0, text_bytes))
  if range(0, text_bytes):raw() ~= expected.text then
    text:add_proto_expert_info(e.content, "Must be '" .. expected.text .. "'")
  end
  local id = tree:add(f.content_session_id, range(text_bytes, 4))
  if range(text_bytes, 4):uint() ~= session_id then
    id:add_proto_expert_info(e.content, "Not the session in the header")
  end
  if kind == "ACK1" then tree:add(f.lifetime, range(text_bytes + 4, 2)) end
end

local snmp, data = Dissector.get("snmp"), Dissector.get("data")
local ber_sequence = 0x30

local function show_block(block, kind, plain, packet, pinfo, root)
  local tvb = ByteArray.new(plain, true):tvb("Deciphered payload")
  local good = crc16(plain, block_header_bytes + 1) == crc_of(plain)
  local crc = block:add(f.crc, tvb(0, 2))
  block:add(f.crc_status, tvb(0, 2), good and 1 or 0):set_generated()
  local claimed, held = content_length_of(plain), #plain - block_header_bytes
  local length = block:add(f.content_length, tvb(2, 2))
  if not good then
    crc:add_proto_expert_info(e.crc, "Wrong CRC: damaged, or not the key of this session")
    block:add(f.content, tvb(block_header_bytes))
    return
  end
  local fixed = contents[kind]
  if fixed then
    if fixed.exact and claimed ~= fixed.bytes then
      length:add_proto_expert_info(e.content_length, "Must be " .. fixed.bytes)
    end
  elseif claimed > held then
    length:add_proto_expert_info(e.content_length, "More than the block holds")
  elseif block_bytes(claimed) ~= #plain then
    length:add_proto_expert_info(e.content_length, "Does not fit the length of the block")
  end
  local used = math.min(fixed and fixed.bytes or claimed, held)
  if used > 0 then
    local content = tvb(block_header_bytes, used)
    local item = block:add(f.content, content)
    if fixed then
      show_fixed_content(item, kind, content, packet.session_id)
    else
      local ours = tostring(pinfo.cols.info)
      pinfo.cols.info = ""
      hand_to(content(0, 1):uint() == ber_sequence and snmp or data, content:tvb(), pinfo, root)
      local theirs = tostring(pinfo.cols.info)
      pinfo.cols.protocol, pinfo.cols.info = "ZOLT", ours .. (theirs ~= "" and ": " or "") .. theirs
    end
  end
  if used < held then block:add(f.padding, tvb(block_header_bytes + used)) end
end

local function show_payload(tree, kind, packet, pinfo, root)
  local length = packet.length - header_bytes
  local range = packet:range(header_bytes, math.min(length, packet.captured - header_bytes))
  if not range then return end
  local item = tree:add(f.payload, range)
  if length % cipher_block_bytes ~= 0 then
    item:add_proto_expert_info(e.payload_length, length .. " bytes are not a multiple of 8")
  elseif range:len() == length then
    local plain = open_block(packet.note.session, packet.session_id, range:raw())
    if plain then return show_block(item, kind, plain, packet, pinfo, root) end
    item:add_proto_expert_info(e.no_key, why_no_key(packet.session_id))
  end
end

----------------------------------------------------------------------------------------------------------------
-- One packet
----------------------------------------------------------------------------------------------------------------

-- A part of the packet, or nil where it was not captured or was never sent.
local function packet_range(packet, at, length)
  if length < 1 or at + length > packet.captured then return nil end
  return packet.tvb(packet.offset + at, length)
end

local function show_rows(tree, packet, rows)
  for _, row in ipairs(rows) do
    local range = packet:range(row[2], row[3])
    if not range then return end
    local item = tree:add(row[1], range)
    if row[4] then row[4](item, range, packet) end
  end
end

local function check_length(tree, kind, packet)
  local length, exact = packet.length, kinds[kind].bytes
  local function wrong(problem, text) tree:add_proto_expert_info(problem, kind .. text) end
  if packet.captured < length then wrong(e.cut, " is cut short by the capture") end
  if length > longest_packet then wrong(e.too_long, " is longer than the device's buffer of 40000 bytes") end
  if kind == "WAKE" and length < wake_bytes then
    wrong(e.short, " has fewer than 412 bytes: the device does not answer")
  elseif kind == "WAKE" and length > wake_bytes then
    wrong(e.trailer, " has bytes behind the signature; they are ignored")
  elseif kind == "WRSP" and length ~= wrsp_bytes then
    wrong(e.length, " must have 144 bytes")
  elseif kind == "ENCR" and length < header_bytes + cipher_block_bytes then
    wrong(e.short, " must have at least 24 bytes")
  elseif exact and length ~= exact then
    wrong(length < exact and e.short or e.length, " has " .. exact .. " bytes by rule")
  end
end

local function describe(pinfo, kind, packet, note)
  local before = tostring(pinfo.cols.info)
  local follows = before:match("^%u%u%u[%u%d]") and kinds[before:sub(1, 4)] -- an earlier packet of this frame
  local direction = kind == "ENCR" and (note.row.request and " request" or " reply") or ""
  pinfo.cols.info = string.format("%s%s%s, session %08x", follows and before .. " | " or "", kind, direction,
    packet.session_id)
  return direction
end

-- `alone` is false for a packet that begins behind another one in the same segment.
local function show_packet(tvb, offset, length, pinfo, root, alone)
  local captured = math.max(0, math.min(length, tvb:captured_len() - offset))
  local packet = { tvb = tvb, offset = offset, length = length, captured = captured, range = packet_range }
  local kind = packet:range(0, 4) and packet:range(0, 4):raw() or ""
  local tree = root:add(zolt, tvb(offset, captured))
  pinfo.cols.protocol = "ZOLT"
  local id = packet:range(12, 4)
  if not id or not kinds[kind] then
    show_rows(tree, packet, header_rows)
    if kinds[kind] then
      tree:add_proto_expert_info(length < header_bytes and e.short or e.cut, "Too short for a header")
    else
      tree:add_proto_expert_info(e.signature, "Unknown signature: only a device without a key takes this")
    end
    return
  end
  packet.session_id = id:uint()
  local identity = string.format("%d %d %d %s", pinfo.number, tvb:offset(), offset, tvb(offset, header_bytes):bytes():tohex())
  packet.note = follow(kind, packet.session_id, identity, pinfo)
  local direction = describe(pinfo, kind, packet, packet.note)
  tree:append_text(string.format(", %s%s, %08x", kind, direction, packet.session_id))
  show_rows(tree, packet, header_rows)
  show_rows(tree, packet, rows_of[kind])
  check_length(tree, kind, packet)
  if not alone and packet.note.row.request then
    tree:add_proto_expert_info(e.pipelined, "The device takes what it reads at once for one packet, and refuses it")
  end
  show_note(tree, packet.note)
  local trailer = kind == "WAKE" and packet:range(wake_bytes, captured - wake_bytes)
  if trailer then tree:add(f.trailer, trailer) end
  if rows_of[kind] == payload_rows then show_payload(tree, kind, packet, pinfo, root) end
end

----------------------------------------------------------------------------------------------------------------
-- Datagrams and streams
----------------------------------------------------------------------------------------------------------------

local plain_dissectors = {} -- what had port 161 before

-- Ours by its letters; or, with a version and a length that are right, ours but for its letters.
local function is_ours(tvb, offset, length)
  if tvb:captured_len() - offset < 4 then return false end
  if kinds[tvb(offset, 4):raw()] then return true end
  if tvb:captured_len() - offset < header_bytes then return false end
  return tvb(offset + 4, 2):uint() == length and tvb(offset + 6, 2):uint() == version
end

-- A stream may end inside the four letters.
local function begins_like_ours(text)
  for kind in pairs(kinds) do
    if #text < 4 and kind:sub(1, #text) == text then return true end
  end
  return false
end

-- Bytes still missing of the packet that begins here, or nil for "at least one more segment".
local function missing(tvb, offset, left)
  if left < 6 then return nil end
  return tvb(offset + 4, 2):uint() - left
end

local function show_stream(tvb, pinfo, root)
  local offset, size = 0, tvb:captured_len()
  local whole = size == tvb:reported_len()
  while offset < size do
    local left = size - offset
    local letters = tvb(offset, math.min(left, 4)):raw()
    local partial = begins_like_ours(letters)
    if not partial and not is_ours(tvb, offset, left) then return offset end
    local more = missing(tvb, offset, left)
    if whole and pinfo.can_desegment > 0 and (more == nil or more > 0) then
      pinfo.desegment_offset = offset
      pinfo.desegment_len = more or DESEGMENT_ONE_MORE_SEGMENT
      return size
    end
    if partial then return offset end
    local length = more and left + more or left
    if length < header_bytes then length = left end -- a length that cannot be: the device takes all it has read
    show_packet(tvb, offset, length, pinfo, root, offset == 0)
    offset = offset + math.min(length, left)
  end
  return size
end

-- What is not ours goes where it would go without us.
local function show_plain(tvb, pinfo, root)
  -- Each dissector on the way takes one off; SNMP over TCP shall gather its segments as if it had been called first.
  if pinfo.can_desegment > 0 then pinfo.can_desegment = pinfo.can_desegment + 1 end
  local used = hand_to(plain_dissectors[pinfo.port_type] or data, tvb, pinfo, root)
  return used ~= 0 and used or hand_to(data, tvb, pinfo, root)
end

function zolt.dissector(tvb, pinfo, root)
  if pinfo.port_type ~= TCP then
    if not is_ours(tvb, 0, tvb:reported_len()) then return show_plain(tvb, pinfo, root) end
    show_packet(tvb, 0, tvb:reported_len(), pinfo, root, true)
    return tvb:captured_len()
  end
  local done = show_stream(tvb, pinfo, root)
  if done == 0 then return show_plain(tvb, pinfo, root) end
  if done < tvb:captured_len() then hand_to(data, tvb(done):tvb(), pinfo, root) end
  return tvb:captured_len()
end

local udp_ports, tcp_ports = DissectorTable.get("udp.port"), DissectorTable.get("tcp.port")
plain_dissectors[UDP] = udp_ports:get_dissector(161) or snmp
plain_dissectors[TCP] = tcp_ports:get_dissector(161) or snmp

local served
local function serve(ports)
  if served == ports then return end
  for _, ports_table in ipairs({ udp_ports, tcp_ports }) do
    if served and served ~= "" then ports_table:remove(served, zolt) end
    if ports ~= "" then ports_table:add(ports, zolt) end
  end
  served = ports
end
serve(zolt.prefs.ports)

function zolt.prefs_changed()
  serve(zolt.prefs.ports)
  keylog.read_at = nil
end

function zolt.init()
  forget_sessions()
  keylog.read_at = nil
  refresh_keylog()
end
