-- Shows the requests and replies of MqcFesIntf in Wireshark and tshark: every field of every message,
-- named and typed as in the schema, which is read when the script is loaded.
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
local makers = {ubyte = ProtoField.uint8, ushort = ProtoField.uint16, uint = ProtoField.uint32}
local widths = {ubyte = 1, ushort = 2, uint = 4}
local encoding = ProtoField.string("mqc.encoding", "encoding")
local damage = ProtoExpert.new("mqc.damaged", "damaged message", expert.group.MALFORMED,
                               expert.severity.ERROR)
local registered = {encoding}
local tables = {}

-- A member as the schema has it: its id, its name and its type, a vector's element apart.
local function member(table_name, name, type_name, id)
  local element = type_name:match("^%[(.*)%]$")
  local filter = "mqc." .. table_name .. "." .. name
  local field = element == "ubyte" and ProtoField.bytes(filter, name) or
                (makers[element or type_name] or ProtoField.none)(filter, name)
  table.insert(registered, field)
  return {name = name, type = element or type_name, vector = element ~= nil, id = id, field = field}
end

local function read_tables(text)
  for table_name, body in text:gmatch("table%s+([%w_]+)%s*{(.-)}") do
    local members = {}
    for name, type_name, id in body:gmatch("([%w_]+)%s*:%s*([%w_%[%]]+)%s*%(id:%s*(%d+)[^)]*%)") do
      table.insert(members, member(table_name, name, type_name, tonumber(id)))
    end
    tables[table_name] = members
  end
end

for name in service_schema:gmatch('include%s+"([^"]+)"') do read_tables(read_schema(name)) end
mqc.fields = registered
mqc.experts = {damage}

-- The bytes at a position; an error when they are not there.
local function bytes(tvb, at, length)
  if at < 0 or length < 0 or at + length > tvb:len() then error("points outside", 0) end
  return tvb(at, length)
end

local function u16(tvb, at) return bytes(tvb, at, 2):le_uint() end
local function u32(tvb, at) return bytes(tvb, at, 4):le_uint() end

-- Where a member lies, nil when it is absent.
local function place(tvb, at, id)
  local vtable = at - bytes(tvb, at, 4):le_int()
  local size = u16(tvb, vtable)
  bytes(tvb, vtable, size)
  if 4 + 2 * id + 2 > size then return nil end
  local offset = u16(tvb, vtable + 4 + 2 * id)
  if offset ~= 0 then return at + offset end
end

local show_table

local function show_vector(tvb, tree, m, at)
  local count = u32(tvb, at)
  if m.type == "ubyte" then
    local content = bytes(tvb, at + 4, count)
    if count == 0 then
      tree:add(m.field):append_text(": empty")
      return
    end
    -- Wireshark itself would stop before the 33 bytes that the longest array has.
    local text = content:range(0, math.min(count, 64)):bytes():tohex(true, " ")
    tree:add(m.field, content):set_text(m.name .. ": " .. text .. (count > 64 and " ..." or ""))
    return
  end
  local width = widths[m.type] or 4
  local elements = bytes(tvb, at + 4, width * count)
  if widths[m.type] then
    local list = tree:add(elements, m.name .. ": " .. count .. " elements")
    for i = 0, count - 1 do list:add_le(m.field, elements(i * width, width)) end
    return
  end
  for i = 0, count - 1 do
    local entry = at + 4 + 4 * i
    local target = entry + u32(tvb, entry)
    show_table(tvb, tree:add(m.field, bytes(tvb, target, 4)):append_text("[" .. i .. "]"), m.type, target)
  end
end

local function show_member(tvb, tree, m, at)
  local width = not m.vector and widths[m.type]
  if width and at then
    tree:add_le(m.field, bytes(tvb, at, width))
  elseif width then
    tree:add(m.field, 0):set_generated()
  elseif at == nil then
    tree:add(m.field):append_text(": absent")
  elseif m.vector then
    show_vector(tvb, tree, m, at + u32(tvb, at))
  else
    local target = at + u32(tvb, at)
    show_table(tvb, tree:add(m.field, bytes(tvb, target, 4)), m.type, target)
  end
end

function show_table(tvb, tree, table_name, at)
  for _, m in ipairs(tables[table_name]) do show_member(tvb, tree, m, place(tvb, at, m.id)) end
end

-- A dissector of messages of one table.
local function dissector(table_name, title)
  return function(tvb, pinfo, tree)
    local top = tree:add(mqc, tvb(), title .. ": " .. table_name .. ", " .. tvb:len() .. " bytes")
    local whole, fault = pcall(function()
      local root = u32(tvb, 0)
      top:add(encoding, root == 4 and "full" or "compact"):set_generated()
      show_table(tvb, top, table_name, root)
    end)
    if not whole then top:add_proto_expert_info(damage, "damaged message: " .. tostring(fault)) end
    return tvb:len()
  end
end

-- gRPC looks its messages up by method and direction, and asks a protocol of each.
local grpc_messages = DissectorTable.get("grpc_message_type")
local function register(method, direction, table_name)
  local proto = Proto("mqc_" .. method:lower() .. "_" .. direction, method .. " " .. direction)
  proto.dissector = dissector(table_name, method .. " " .. direction)
  grpc_messages:add("application/grpc,/MqcFesIntf/" .. method .. "," .. direction, proto)
end

for method, request, reply in service_schema:gmatch("([%w_]+)%s*%(([%w_]+)%)%s*:%s*([%w_]+)%s*;") do
  register(method, "request", request)
  register(method, "response", reply)
end
