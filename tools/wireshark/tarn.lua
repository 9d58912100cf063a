-- Shows messages in Wireshark: streams with a length before each message, whole
-- datagrams, and NATS. Wireshark's own dissector of Protocol Buffers does so with
-- the schema files, which it finds in its folder protobuf/.

-- Filters need fields that are there before the first packet.
set_preference("protobuf.preload_protos", true)
set_preference("protobuf.pbf_as_hf", true)

local protobuf = Dissector.get("protobuf")
local stream_of = Field.new("tcp.stream")
local gap_before = Field.new("tcp.analysis.lost_segment")

local tarn = Proto("tarn", "Price-sign messages")
local fields = {
  type = ProtoField.string("tarn.type", "Type"),
  site = ProtoField.string("tarn.site", "Site"),
  length = ProtoField.uint32("tarn.length", "Length"),
  verb = ProtoField.string("tarn.nats.verb", "Verb"),
  subject = ProtoField.string("tarn.nats.subject", "Subject"),
  header = ProtoField.string("tarn.nats.header", "Header"),
}
tarn.fields = fields
local damaged = ProtoExpert.new("tarn.damaged", "Damaged", expert.group.MALFORMED,
                                expert.severity.ERROR)
local unread = ProtoExpert.new("tarn.unread", "Not read", expert.group.UNDECODED,
                               expert.severity.WARN)
tarn.experts = { damaged, unread }

local preferences = tarn.prefs
preferences.tcp = Pref.string("Streams over TCP", "",
  "PORT TYPE [LENGTH], with commas between them, such as \"7001 Server, 7002 named u32be\". "
  .. "LENGTH is varint, u32be or u32le; named: before each message comes the name of its type")
preferences.udp = Pref.string("Datagrams over UDP", "",
  "PORT TYPE, with commas between them: each datagram is one message")
preferences.nats = Pref.range("NATS over TCP", "4222", "Ports of NATS servers", 65535)
preferences.max_size = Pref.uint("Largest message", 64 * 1024 * 1024,
  "Bytes; after a larger length a stream is not read any further")

local LONGEST_NAME = 100
-- Of a line of NATS that is waited for; each packet of it takes longer than the last.
local LONGEST_LINE = 8 * 1024
local MOST_IN_INFO = 10
-- Where a stream went wrong: number of the packet, by stream and direction.
local broken = {}

-- For the list of packets: no control characters from the network.
local function clean(text)
  return (text:gsub("[^\32-\126]", "?"))
end

-- What to say of a packet, message by message.
local function new_summary()
  return { count = 0 }
end

local function mention(summary, text)
  summary.count = summary.count + 1
  if summary.count <= MOST_IN_INFO then summary[summary.count] = clean(text) end
end

-- In place of what other dissectors have said, among it the values of fields.
local function put_into_columns(pinfo, summary, protocol)
  local text = table.concat(summary, ", ")
  if summary.count > MOST_IN_INFO then
    text = string.format("%s and %d more", text, summary.count - MOST_IN_INFO)
  end
  pinfo.cols.protocol = protocol
  local info = pinfo.cols.info
  info:clear()
  -- By an earlier message of the same packet; Wireshark itself ends in a space.
  local begun = tostring(info):find("[^ ]$")
  info:append((begun and ", " or "") .. text)
  info:fence()
end

local function complain(summary, item, what, text)
  item:add_proto_expert_info(what, text)
  mention(summary, text)
end

-- Adds a message: `from` is where it is told what it is, and `range` its bytes,
-- nil if it has none.
local function add_message(pinfo, tree, summary, message, range)
  local full_name = message.type:find("^tarn%.") and message.type or "tarn." .. message.type
  local short_name = full_name:sub(#"tarn." + 1)
  tree:append_text(": " .. clean(short_name))
  tree:add(fields.type, message.from, short_name)
  if message.site then tree:add(fields.site, message.from, message.site) end
  tree:add(fields.length, message.from, range and range:len() or 0)
  mention(summary, short_name .. (message.site and " of " .. message.site or ""))
  if not range then return end
  pinfo.private["pb_msg_type"] = "message," .. full_name
  if not pcall(protobuf.call, protobuf, range:tvb(), pinfo, tree) then
    complain(summary, tree, damaged, "Wireshark stops inside this message")
  end
end

-- Ways to write the length before a message. They return the length and how many
-- bytes it takes; nothing where bytes are missing; false where there is none.
local lengths = {}

function lengths.varint(tvb, offset)
  local size, place = 0, 1
  for index = 0, math.min(tvb:len() - offset, 10) - 1 do
    local byte = tvb(offset + index, 1):uint()
    size = size + byte % 128 * place
    if byte < 128 then return size, index + 1 end
    place = place * 128.0
  end
  if tvb:len() - offset >= 10 then return false end
end

function lengths.u32be(tvb, offset)
  if tvb:len() - offset >= 4 then return tvb(offset, 4):uint(), 4 end
end

function lengths.u32le(tvb, offset)
  if tvb:len() - offset >= 4 then return tvb(offset, 4):le_uint(), 4 end
end

-- A record at a place: its first byte and its size; or else how many bytes are
-- missing for it, or what is wrong.
local function find_record(tvb, offset, frame, most, what)
  local size, header = lengths[frame](tvb, offset)
  if size == false then
    return { wrong = string.format("the length of the %s has more than ten bytes", what) }
  end
  if not size then return { missing = DESEGMENT_ONE_MORE_SEGMENT } end
  if size > most then
    return { wrong = string.format("%s of %.0f bytes: more than %d", what, size, most) }
  end
  local record = { first = offset + header, size = math.floor(size) }
  if record.first + record.size > tvb:len() then
    record.missing = record.first + record.size - tvb:len()
  end
  return record
end

-- A message of a stream. A port without a type has two records for each: the name
-- of the type, and the message.
local function find_message(tvb, offset, port, most)
  if port.type ~= "named" then
    local record = find_record(tvb, offset, port.frame, most, "message")
    record.type = port.type
    return record
  end
  local name = find_record(tvb, offset, port.frame, LONGEST_NAME, "name")
  if name.wrong then return name end
  -- All of the segment, so that what is wrong after the name is found with it.
  if name.missing then return { missing = DESEGMENT_ONE_MORE_SEGMENT } end
  local text = name.size > 0 and tvb:raw(name.first, name.size) or ""
  if not text:find("^%a[%w_.]*$") then
    return { wrong = string.format("\"%s\" is no name of a type", clean(text)) }
  end
  local record = find_record(tvb, name.first + name.size, port.frame, most, "message")
  record.type = text
  return record
end

-- Streams and datagrams: the type of each port, as the preferences have it.
local ports = { tcp = {}, udp = {} }

local function port_of(pinfo, transport)
  return ports[transport][pinfo.match_uint]
end

-- Which direction of which stream.
local function direction(pinfo)
  return string.format("%s %s %s", stream_of(), pinfo.src, pinfo.src_port)
end

local function ask_for_more(pinfo, offset, missing)
  pinfo.desegment_offset = offset
  pinfo.desegment_len = missing
end

local function dissect_stream(tvb, pinfo, tree)
  local port, key, summary = port_of(pinfo, "tcp"), direction(pinfo), new_summary()
  local offset, gap = 0, gap_before()
  while offset < tvb:len() do
    local message
    if broken[key] and pinfo.number > broken[key] then
      message = { lost = string.format("not read: the stream is damaged in packet %d",
                                       broken[key]) }
    elseif gap then
      message = { lost = "not read: what comes before it in the stream was not captured" }
    else
      message = find_message(tvb, offset, port, preferences.max_size)
    end
    if message.missing and pinfo.can_desegment > 0 then
      ask_for_more(pinfo, offset, message.missing)
      break
    end
    local last = not message.first or message.missing
    local item = tree:add(tarn, last and tvb(offset) or
                                tvb(offset, message.first + message.size - offset))
    if last then
      broken[key] = broken[key] or pinfo.number
      complain(summary, item, message.wrong and damaged or unread,
               message.wrong or message.lost or "cut off: not all of it was captured")
      break
    end
    message.from = tvb(offset, message.first - offset)
    add_message(pinfo, item, summary, message,
                message.size > 0 and tvb(message.first, message.size) or nil)
    offset = message.first + message.size
  end
  if summary.count > 0 then put_into_columns(pinfo, summary, "Tarn") end
  return tvb:len()
end

local function dissect_datagram(tvb, pinfo, tree)
  local summary = new_summary()
  local item = tree:add(tarn, tvb())
  if tvb:len() < tvb:reported_len() then
    complain(summary, item, unread, "cut off: not all of it was captured")
  else
    add_message(pinfo, item, summary,
                { type = port_of(pinfo, "udp").type, from = tvb(0, 0) }, tvb())
  end
  put_into_columns(pinfo, summary, "Tarn")
  return tvb:len()
end

-- For each verb of NATS: whether headers come with it, and what stands between the
-- verb and the sizes.
local CARRIERS = {
  PUB = { headers = false, words = 1 },
  HPUB = { headers = true, words = 1 },
  MSG = { headers = false, words = 2 },
  HMSG = { headers = true, words = 2 },
}
local OTHER_VERBS = { INFO = true, CONNECT = true, SUB = true, UNSUB = true, PING = true,
                      PONG = true, ["+OK"] = true, ["-ERR"] = true }

-- A line of NATS: its verb, and for one that carries a message the subject, the
-- size of the headers and that of all. Nothing where it is none.
local function parse_line(line)
  local words = {}
  for word in line:gmatch("[^ \t]+") do words[#words + 1] = word end
  local verb = (words[1] or ""):upper()
  local carrier = CARRIERS[verb]
  if not carrier then
    return OTHER_VERBS[verb] and { verb = verb, subject = verb == "SUB" and words[2] or nil }
  end
  local numbers = carrier.headers and 2 or 1
  local optional = #words - 1 - carrier.words - numbers
  if optional ~= 0 and optional ~= 1 then return nil end
  local result = { verb = verb, subject = words[2], headers = 0 }
  for index = 0, numbers - 1 do
    local word = words[#words - index]
    if not word:find("^%d+$") or #word > 15 then return nil end
  end
  result.size = tonumber(words[#words])
  if carrier.headers then result.headers = tonumber(words[#words - 1]) end
  return result.headers <= result.size and result or nil
end

-- The line at a place, and what belongs to it; or else how many bytes are missing,
-- or what is wrong.
local function find_line(text, offset, most)
  local last = text:find("\r\n", offset + 1, true)
  local length = (last or #text + 1) - offset - 1
  -- What begins like no verb is not waited for.
  local verb = text:sub(offset + 1, offset + 8):match("^[^ \t\r]*"):upper()
  local known = CARRIERS[verb] or OTHER_VERBS[verb]
  if not last and length > LONGEST_LINE then
    return { wrong = string.format("a line of NATS of more than %d bytes", LONGEST_LINE) }
  end
  if not last and (known or #text - offset < 8) then
    return { missing = DESEGMENT_ONE_MORE_SEGMENT }
  end
  local line = known and parse_line(text:sub(offset + 1, offset + length))
  if not line then return { wrong = "not read: no line of NATS begins here" } end
  line.after = offset + length + 2
  if not line.size then return line end
  if line.size > most then
    return { wrong = string.format("payload of %.0f bytes: more than %d", line.size, most) }
  end
  line.first = line.after
  line.after = line.first + line.size + 2
  if line.after > #text then
    line.missing = line.after - #text
  elseif text:sub(line.after - 1, line.after) ~= "\r\n" then
    return { wrong = "the payload is not as long as the line before it says" }
  end
  return line
end

-- Subjects are tarn.v0.<site>.<Message>, some with more words at the end. What a
-- server hands out of a stream has its subject in a header.
local function parse_subject(subject)
  local site, type = (subject .. "."):match("^tarn%.v0%.([^.]+)%.(%u%w*)%.")
  return type and { site = site, type = type }
end

local function add_payload(tvb, pinfo, item, summary, line)
  local message = parse_subject(line.subject)
  local headers = line.headers > 0 and tvb:raw(line.first, line.headers) or ""
  for place, header in headers:gmatch("()([^\r\n]+)") do
    item:add(fields.header, tvb(line.first + place - 1, #header))
    message = message or parse_subject(header:match("^Nats%-Subject:%s*(.*)") or "")
  end
  if not message then
    mention(summary, line.verb .. " " .. line.subject)
    return false
  end
  local size = line.size - line.headers
  message.from = line.from
  add_message(pinfo, item, summary, message,
              size > 0 and tvb(line.first + line.headers, size) or nil)
  return true
end

local function dissect_nats(tvb, pinfo, tree)
  local summary, offset = new_summary(), 0
  local text, carries = tvb:raw(0, tvb:len()), false
  while offset < tvb:len() do
    local line = find_line(text, offset, preferences.max_size)
    if line.missing and pinfo.can_desegment > 0 then
      ask_for_more(pinfo, offset, line.missing)
      break
    end
    local last = line.wrong or line.missing
    local item = tree:add(tarn, last and tvb(offset) or tvb(offset, line.after - offset))
    if last then
      complain(summary, item, unread,
               line.wrong or "cut off: not all of it was captured")
      break
    end
    item:add(fields.verb, tvb(offset, #line.verb))
    line.from = tvb(offset, (line.first or line.after) - offset)
    if line.subject then item:add(fields.subject, line.from, line.subject) end
    if line.size then
      carries = add_payload(tvb, pinfo, item, summary, line) or carries
    else
      mention(summary, line.verb .. (line.subject and " " .. line.subject or ""))
    end
    offset = line.after
  end
  if summary.count > 0 then put_into_columns(pinfo, summary, carries and "Tarn" or "NATS") end
  return tvb:len()
end

local PT_UDP = 3
function tarn.dissector(tvb, pinfo, tree)
  if pinfo.port_type == PT_UDP then return dissect_datagram(tvb, pinfo, tree) end
  if ports.tcp[pinfo.match_uint] then return dissect_stream(tvb, pinfo, tree) end
  return dissect_nats(tvb, pinfo, tree)
end

function tarn.init()
  broken = {}
end

-- What a preference says of ports, by number. What cannot be read is left out.
local function parse_ports(text, transport)
  local found = {}
  for entry in text:gmatch("[^,]+") do
    local words = {}
    for word in entry:gmatch("%S+") do words[#words + 1] = word end
    local port, frame = tonumber(words[1]), words[3] or "varint"
    if port and port % 1 == 0 and port > 0 and port < 65536 and #words > 1 and
       (transport == "tcp" and #words < 4 or #words < 3 and words[2] ~= "named") and
       lengths[frame] and words[2]:find("^%a[%w_.]*$") then
      found[port] = { type = words[2], frame = frame }
    elseif #words > 0 then
      report_failure(string.format("tarn.%s: \"%s\" is not PORT TYPE%s", transport,
                                   clean(entry), transport == "tcp" and " [LENGTH]" or ""))
    end
  end
  return found
end

local tables = { tcp = DissectorTable.get("tcp.port"), udp = DissectorTable.get("udp.port") }
local nats = nil

local function take_preferences()
  if nats then tables.tcp:remove(nats, tarn) end
  nats = preferences.nats
  if nats ~= "" then tables.tcp:add(nats, tarn) end
  for transport, known in pairs(ports) do
    for port in pairs(known) do tables[transport]:remove(port, tarn) end
    ports[transport] = parse_ports(preferences[transport], transport)
    for port in pairs(ports[transport]) do tables[transport]:add(port, tarn) end
  end
end

tarn.prefs_changed = take_preferences
take_preferences()
