-- Shows the requests and replies of MqcFesIntf in Wireshark and tshark: every field of every message,
-- named and typed as in the schema, which is read when the script is loaded; also of those that travel over
-- the stream.
--
--     tshark -X lua_script:mqc_fes_intf.lua -d tcp.port==50051,http2 -r FILE -O mqc
--
-- A field can be filtered for by its table and name: mqc.MQC_RuleMac.f3 == 37

local here = debug.getinfo(1, "S").source:gsub("^@", ""):match("^(.*/)") or "./"

local function read_schema(name)
  local path = here .. "../schema/" .. name
  local file = assert(io.open(path), path .. ": cannot be read")
  local text = file:read("*a"):gsub("//[^\n]*", "")
  file:close()
  return text
end

local service_schema = read_schema("mqc_fes_intf_service.fbs")

local mqc = Proto("mqc", "MqcFesIntf")
local makers = {ubyte = ProtoField.uint8, ushort = ProtoField.uint16, uint = ProtoField.uint32,
                ulong = ProtoField.uint64, string = ProtoField.string}
local widths = {ubyte = 1, ushort = 2, uint = 4, ulong = 8}
local encoding = ProtoField.string("mqc.encoding", "encoding")
local damage = ProtoExpert.new("mqc.damaged", "damaged message", expert.group.MALFORMED,
                               expert.severity.ERROR)
local registered = {encoding}
local tables = {}
local requests = {} -- a method's table
local most_calls = 1000 -- of a message that are shown

-- A member in the schema: id, name and type; of a vector, the type and number of the elements, nil for a
-- caller's buffer.
local function member(table_name, name, type_name, id, count)
  local element = type_name:match("^%[(.*)%]$")
  local filter = "mqc." .. table_name .. "." .. name
  local field = element == "ubyte" and ProtoField.bytes(filter, name) or
                (makers[element or type_name] or ProtoField.none)(filter, name)
  table.insert(registered, field)
  return {name = name, type = element or type_name, vector = element ~= nil, id = id, count = count,
          field = field}
end

-- An enumeration in the schema is a type whose numbers have names.
local function read_enums(text)
  for name, base_type, body in text:gmatch("enum%s+([%w_]+)%s*:%s*([%w_]+)%s*{(.-)}") do
    local names = {}
    for label, value in body:gmatch("([%w_]+)%s*=%s*(%d+)") do names[tonumber(value)] = label end
    local make = makers[base_type]
    makers[name] = function(filter, label) return make(filter, label, base.DEC, names) end
    widths[name] = widths[base_type]
  end
end

local function read_tables(text)
  for table_name, body in text:gmatch("table%s+([%w_]+)%s*{(.-)}") do
    local members = {}
    for name, type_name, id, more in body:gmatch("([%w_]+)%s*:%s*([%w_%[%]]+)%s*%(id:%s*(%d+)([^)]*)%)") do
      local count = tonumber(more:match("count:%s*(%d+)"))
      table.insert(members, member(table_name, name, type_name, tonumber(id), count))
    end
    tables[table_name] = members
  end
end

for name in service_schema:gmatch('include%s+"([^"]+)"') do
  local text = read_schema(name)
  read_enums(text)
  read_tables(text)
end
mqc.fields = registered
mqc.experts = {damage}

-- Nothing may be added for bytes outside the message: Wireshark then leaves the dissector, past any pcall. And
-- what is added is bounded by the schema, whatever a message repeats or points at.

-- Ends the message's display: it is damaged.
local function damaged(...) error(string.format(...), 0) end

-- The bytes at a position.
local function bytes(tvb, at, length)
  if at < 0 or length < 0 or at + length > tvb:len() then damaged("points outside") end
  return tvb(at, length)
end

local function u16(tvb, at) return bytes(tvb, at, 2):le_uint() end
local function u32(tvb, at) return bytes(tvb, at, 4):le_uint() end

local show_table, show_message

local function show_bytes(tree, m, content)
  -- Wireshark itself would stop before the 33 bytes that the longest array has.
  local first = math.min(content:len(), 64)
  local text = first == 0 and "empty" or content:range(0, first):bytes():tohex(true, " ")
  tree:add(m.field, content):set_text(m.name .. ": " .. text .. (content:len() > first and " ..." or ""))
end

local function show_vector(message, tree, m, at)
  local tvb, count = message.tvb, u32(message.tvb, at)
  if count ~= (m.count or count) then damaged("%s has %d elements, not %d", m.name, count, m.count) end
  if not m.count and message.full then damaged("%s is not part of any full encoding", m.name) end
  local width = widths[m.type] or 4
  local elements = bytes(tvb, at + 4, width * count)
  if m.type == "ubyte" then
    show_bytes(tree, m, elements)
  elseif widths[m.type] then
    local list = tree:add(elements, m.name .. ": " .. count .. " elements")
    for i = 0, count - 1 do list:add_le(m.field, elements(i * width, width)) end
  else
    for i = 0, (m.count or math.min(count, most_calls)) - 1 do
      local entry = at + 4 + 4 * i
      local target = entry + u32(tvb, entry)
      show_table(message, tree:add(m.field, bytes(tvb, target, 4)):append_text("[" .. i .. "]"), m.type, target)
    end
  end
end

-- Only the compact encoding leaves fields out, and never arrays or nested records.
local function show_absent(message, tree, m)
  local is_scalar = not m.vector and widths[m.type]
  local may_be_absent = is_scalar or m.vector or m.type == "string"
  if message.full or m.count or not may_be_absent then damaged("%s is missing", m.name) end
  if is_scalar then
    tree:add(m.field, m.type == "ulong" and UInt64(0) or 0):set_generated()
  else
    tree:add(m.field, message.tvb(0, 0)):set_text(m.name .. ": absent")
  end
end

local function show_member(message, tree, m, at)
  local tvb = message.tvb
  if m.vector then
    show_vector(message, tree, m, at + u32(tvb, at))
  elseif widths[m.type] then
    tree:add_le(m.field, bytes(tvb, at, widths[m.type]))
  elseif m.type == "string" then
    local start = at + u32(tvb, at)
    tree:add(m.field, bytes(tvb, start + 4, u32(tvb, start)))
  else
    local target = at + u32(tvb, at)
    show_table(message, tree:add(m.field, bytes(tvb, target, 4)), m.type, target)
  end
end

-- The request that a call of the stream carries.
local function show_request(tvb, tree, method_at, message_at)
  local method = bytes(tvb, method_at + 4, u32(tvb, method_at)):string()
  local request = bytes(tvb, message_at + 4, u32(tvb, message_at))
  if requests[method] and request:len() > 0 then
    show_message(request:tvb(), tree, method .. " request", requests[method], true)
  end
end

function show_table(message, tree, table_name, at)
  local tvb, members = message.tvb, tables[table_name]
  local vtable = at - bytes(tvb, at, 4):le_int()
  local size, expected = u16(tvb, vtable), 4 + 2 * #members
  if message.is_request and size ~= expected then
    damaged("a vtable of %d bytes, that of %s has %d", size, table_name, expected)
  end
  bytes(tvb, vtable, size)
  local places = {}
  for _, m in ipairs(members) do
    local entry = 4 + 2 * m.id
    local offset = entry + 2 <= size and u16(tvb, vtable + entry) or 0
    if offset ~= 0 then
      show_member(message, tree, m, at + offset)
      places[m.name] = at + offset
    else
      show_absent(message, tree, m)
    end
  end
  if table_name == "MqcCall" and places.method and places.message then
    local method, request = places.method, places.message
    show_request(tvb, tree, method + u32(tvb, method), request + u32(tvb, request))
  end
end

-- A message of one table. All but requests come from any FlatBuffers writer, which may know other fields.
function show_message(tvb, tree, title, table_name, is_request)
  local top = tree:add(mqc, tvb(), title .. ": " .. table_name .. ", " .. tvb:len() .. " bytes")
  local whole, fault = pcall(function()
    local root = u32(tvb, 0)
    if is_request then top:add(encoding, root == 4 and "full" or "compact"):set_generated() end
    show_table({tvb = tvb, is_request = is_request, full = is_request and root == 4}, top, table_name, root)
  end)
  if not whole then top:add_proto_expert_info(damage, "damaged message: " .. tostring(fault)) end
end

-- gRPC looks its messages up by method and direction, and asks a protocol of each.
local grpc_messages = DissectorTable.get("grpc_message_type")
local function register(method, direction, table_name, is_request)
  local title = method .. " " .. direction
  local proto = Proto("mqc_" .. method:lower() .. "_" .. direction, title)
  function proto.dissector(tvb, pinfo, tree)
    show_message(tvb, tree, title, table_name, is_request)
    return tvb:len()
  end
  grpc_messages:add("application/grpc,/MqcFesIntf/" .. method .. "," .. direction, proto)
end

for method, request, reply in service_schema:gmatch("([%w_]+)%s*%(mqc%.([%w_]+)%)%s*:%s*mqc%.([%w_]+)%s*;") do
  requests[method] = request
  register(method, "request", request, true)
  register(method, "response", reply, false)
end
register("stream", "request", "MqcCalls", false)
register("stream", "response", "MqcAnswers", false)
