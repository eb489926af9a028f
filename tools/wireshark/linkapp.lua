-- Wireshark dissector for recordings of the channel: linkapp record --export pcapng x.rec -o x.pcapng
--
--   wireshark -X lua_script:tools/wireshark/linkapp.lua x.pcapng
--
-- or copy it to the folder "Personal Lua Plugins" of Help > About Wireshark > Folders. The header of a packet is
-- described in docs/recording-format.md, the records behind it in docs/channel-format.md.

local linkapp = Proto("linkapp", "LinkApp channel")

local kinds = { [1] = "message", [2] = "gap" }
local identifiers = { [2] = "FromHU", [3] = "FromDevice", [4] = "ConnectStatus", [5] = "AppInfo" }
local states = { [0] = "none", [1] = "certain", [2] = "unsure", [3] = "overwritten", [4] = "unreadable" }
local gaps = { [1] = "overwritten", [2] = "damaged", [3] = "new-log", [4] = "stood-still", [5] = "no-log" }
local notify_types = {
  [0] = "NOTIFYID_APPLAUNCH",
  [1] = "NOTIFYID_CONNECTSTATUS",
  [2] = "NOTIFYID_SESSIONSTATUS",
  [3] = "NOTIFYID_SENDRESULT",
  [4] = "NOTIFYID_BTHFSTATUS",
  [5] = "NOTIFYID_PLAYBACKAPPINFO",
}

local f = {
  version = ProtoField.uint8("linkapp.version", "Version of this header"),
  kind = ProtoField.uint8("linkapp.kind", "Kind", base.DEC, kinds),
  before = ProtoField.bool("linkapp.before", "Posted before the recording", 16, nil, 0x1),
  for_nobody = ProtoField.bool("linkapp.for_nobody", "For nobody", 16, nil, 0x2),
  sequence = ProtoField.uint64("linkapp.sequence", "Sequence"),
  time = ProtoField.uint64("linkapp.time", "Monotonic time (ns)"),
  id = ProtoField.uint32("linkapp.id", "Notify identifier", base.DEC, identifiers),
  pid = ProtoField.uint32("linkapp.pid", "Sender"),
  process = ProtoField.string("linkapp.process", "Sender's name"),
  number = ProtoField.uint32("linkapp.number", "Number of this identifier"),
  name = ProtoField.string("linkapp.name", "Message"),
  payload = ProtoField.bytes("linkapp.payload", "Payload"),
  payload_size = ProtoField.uint16("linkapp.payload_size", "Payload size"),

  notify_type = ProtoField.uint32("linkapp.notify_type", "notifyType", base.DEC, notify_types),
  device = ProtoField.uint32("linkapp.device", "deviceId"),
  app = ProtoField.uint32("linkapp.app", "appId"),
  connect_status = ProtoField.uint32("linkapp.connect_status", "connectStatus"),
  connect_type = ProtoField.uint32("linkapp.connect_type", "connectType"),
  iap_type = ProtoField.uint32("linkapp.iap_type", "iapType"),
  status = ProtoField.uint32("linkapp.status", "status"),
  send_result = ProtoField.uint32("linkapp.send_result", "sendResult"),
  bt_connected = ProtoField.uint32("linkapp.bt_connected", "btConnected"),
  bt_address = ProtoField.bytes("linkapp.bt_address", "btAddress", base.COLON),
  playback_app_name = ProtoField.string("linkapp.playback_app_name", "playbackAppName"),
  launch_method = ProtoField.uint32("linkapp.launch_method", "launchMethod"),
  slot = ProtoField.uint32("linkapp.slot", "slotIndex"),
  place = ProtoField.uint32("linkapp.place", "Place in the registration table"),

  content_state = ProtoField.uint8("linkapp.content.state", "Ring content", base.DEC, states),
  content_size = ProtoField.uint16("linkapp.content.size", "Ring message size"),
  content = ProtoField.bytes("linkapp.content.bytes", "Ring message"),

  gap_kind = ProtoField.uint32("linkapp.gap.kind", "Gap", base.DEC, gaps),
  gap_count = ProtoField.uint64("linkapp.gap.count", "Messages, or nanoseconds"),
  gap_reason = ProtoField.string("linkapp.gap.reason", "Reason"),
}
linkapp.fields = f

local malformed = ProtoExpert.new("linkapp.malformed", "Not as the header says", expert.group.MALFORMED,
                                  expert.severity.ERROR)
linkapp.experts = { malformed }

local HEADER = 48

-- A payload that is shorter than its record counts as followed by zeros.
local function padded(payload, size)
  local bytes = ByteArray.new()
  if payload then
    bytes:append(payload:bytes())
  end
  if bytes:len() < size then
    bytes:set_size(size)
  end
  return bytes:tvb("record")
end

-- Each kind fills some fields: offset, field.
local kind_fields = {
  [0] = { { 8, f.app }, { 300, f.launch_method } },
  [1] = { { 12, f.connect_status }, { 16, f.connect_type }, { 20, f.iap_type } },
  [2] = { { 8, f.app }, { 24, f.status } },
  [3] = { { 8, f.app }, { 28, f.send_result } },
  [4] = { { 32, f.bt_connected } },
  [5] = {},
}

local function dissect_status(record, tree)
  local kind = record(0, 4):le_uint()
  tree:add_le(f.notify_type, record(0, 4))
  tree:add_le(f.device, record(4, 4))
  for _, entry in ipairs(kind_fields[kind] or {}) do
    tree:add_le(entry[2], record(entry[1], 4))
  end
  if kind == 4 then
    tree:add(f.bt_address, record(36, 6))
  elseif kind == 5 then
    tree:add(f.playback_app_name, record(42, 256), record(42, 256):stringz())
  end
  return notify_types[kind] or "ConnectStatus"
end

local function dissect_message(id, payload, tree)
  if not payload then
    return identifiers[id] or ("id " .. id)
  elseif id == 4 then
    return dissect_status(padded(payload, 304), tree)
  elseif id == 2 or id == 3 then
    local record = padded(payload, 12)
    tree:add_le(f.device, record(0, 4))
    tree:add_le(f.app, record(4, 4))
    tree:add_le(f.slot, record(8, 4))
  elseif id == 5 then
    tree:add_le(f.place, padded(payload, 4)(0, 4))
  end
  return identifiers[id] or ("id " .. id)
end

local function dissect_gap(payload, tree)
  if not payload or payload:len() < 16 then
    return "gap"
  end
  tree:add_le(f.gap_kind, payload(0, 4))
  tree:add_le(f.gap_count, payload(8, 8))
  if payload:len() > 16 then
    tree:add(f.gap_reason, payload(16))
  end
  return "gap: " .. (gaps[payload(0, 4):le_uint()] or "?")
end

function linkapp.dissector(buffer, pinfo, root)
  pinfo.cols.protocol = "LinkApp"
  local tree = root:add(linkapp, buffer())
  if buffer:len() < HEADER or buffer(2, 2):le_uint() ~= HEADER then
    tree:add_proto_expert_info(malformed)
    return 0
  end
  local kind = buffer(1, 1):uint()
  local flags = buffer(4, 2):le_uint()
  local id = buffer(24, 4):le_uint()
  local payload_bytes = buffer(36, 2):le_uint()
  local content_bytes = buffer(42, 2):le_uint()
  local name_bytes = buffer(44, 2):le_uint()
  if buffer:len() ~= HEADER + name_bytes + payload_bytes + content_bytes then
    tree:add_proto_expert_info(malformed)
    return 0
  end
  local process = name_bytes > 0 and buffer(HEADER, name_bytes):string() or ""
  local payload = payload_bytes > 0 and buffer(HEADER + name_bytes, payload_bytes) or nil

  tree:add(f.version, buffer(0, 1))
  tree:add(f.kind, buffer(1, 1))
  tree:add_le(f.before, buffer(4, 2))
  tree:add_le(f.for_nobody, buffer(4, 2))
  tree:add_le(f.sequence, buffer(8, 8))
  tree:add_le(f.time, buffer(16, 8))
  local text
  if kind == 2 then
    text = dissect_gap(payload, tree)
  else
    tree:add_le(f.id, buffer(24, 4))
    tree:add_le(f.pid, buffer(28, 4))
    tree:add(f.process, name_bytes > 0 and buffer(HEADER, name_bytes) or buffer(HEADER, 0), process)
    tree:add_le(f.number, buffer(32, 4))
    tree:add_le(f.payload_size, buffer(36, 2))
    if payload then
      tree:add(f.payload, payload)
    end
    local is_for_nobody = flags % 4 >= 2
    text = is_for_nobody and "registrations" or dissect_message(id, payload, tree)
    tree:add(f.content_state, buffer(38, 1))
    tree:add_le(f.content_size, buffer(40, 2))
    if content_bytes > 0 then
      tree:add(f.content, buffer(HEADER + name_bytes + payload_bytes, content_bytes))
    end
    pinfo.cols.src = process .. " (" .. buffer(28, 4):le_uint() .. ")"
  end
  tree:add(f.name, buffer(0, 0), text)
  tree:append_text(", " .. text)
  pinfo.cols.info = "#" .. tostring(buffer(8, 8):le_uint64()) .. "  " .. text ..
                    (content_bytes > 0 and ("  " .. content_bytes .. " bytes") or "")
  return buffer:len()
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, linkapp)
