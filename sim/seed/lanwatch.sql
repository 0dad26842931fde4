-- The probe database as the gateway's network-probe daemon keeps it.
-- Device has exactly 23 columns; the agent reads rows by column position.
CREATE TABLE IF NOT EXISTS Device (
  DevType TEXT,          -- 0  "L2Device" for a mesh extender
  ConnType TEXT,         -- 1  "Ethernet", "WiFi 2.4G", "WiFi 5G"
  DevName TEXT,          -- 2
  IPAddr TEXT,           -- 3
  ALMac TEXT,            -- 4  AL MAC of an extender
  DevMac TEXT,           -- 5  MAC of a host
  SignalStrength TEXT,   -- 6
  PhyRate TEXT,          -- 7
  Alive INTEGER,         -- 8
  nNotAlive INTEGER,     -- 9
  Neighbor TEXT,         -- 10
  HostType TEXT,         -- 11
  HostName TEXT,         -- 12
  LastSeen TEXT,         -- 13
  Rssi TEXT,             -- 14
  ExtraInfo TEXT,        -- 15 JSON object
  Manufacturer TEXT,     -- 16
  GuestConn TEXT,        -- 17
  UpTime TEXT,           -- 18
  ParentMac TEXT,        -- 19
  Channel TEXT,          -- 20
  Band TEXT,             -- 21 "1" 2.4 GHz, "2" 5 GHz
  Reserved TEXT          -- 22
);
CREATE TABLE IF NOT EXISTS DevFunc (
  ALMac TEXT PRIMARY KEY,
  ControllableMask TEXT,
  PwrState_24G TEXT,
  PwrState_5G TEXT,
  AutoConfig_24G TEXT,
  AutoConfig_5G TEXT,
  AutoConfigFunc TEXT,
  AppVersion TEXT,
  WiFiLinkRate_24G TEXT,
  WiFiLinkRate_5G TEXT,
  Channel_24G TEXT,
  Channel_5G TEXT,
  Authorized INTEGER,
  NewDeviceChecked INTEGER,
  Devicemode TEXT
);

INSERT INTO Device VALUES
 ('Gateway', 'Ethernet', 'HomeGateway', '192.168.1.1', '02:10:18:aa:bb:00', '02:10:18:aa:bb:00',
  '0', '1000', 1, 0, '', '0', 'HomeGateway', '', '0',
  '{"FirmwareVersion":"1.0.12","RxDataRate":0,"TxDataRate":0}', 'Gateway maker', '0', '86400', '', '0', '0', ''),
 ('L2Device', 'Ethernet', 'LivingRoom-Ext', '192.168.1.20', '02:10:18:cc:dd:01', '02:10:18:cc:dd:02',
  '0', '1000', 1, 0, '02:10:18:aa:bb:00', '5', 'LivingRoom-Ext', '', '0',
  '{"FirmwareVersion":"1.0.10","RxDataRate":52000,"TxDataRate":31000,"Newfirmware":1,"NewfirmwareUpgradeState":0,"Newfirmwareversion":"1.0.12","Newfirmwaredate":"2026-10-01"}',
  'Mesh maker', '0', '7200', '02:10:18:aa:bb:00', '0', '0', ''),
 ('L2Device', 'WiFi 5G', 'Bedroom-Ext', '192.168.1.21', '02:10:18:cc:ee:01', '02:10:18:cc:ee:02',
  '-48', '866', 1, 0, '02:10:18:cc:dd:01', '5', 'Bedroom-Ext', '', '-48',
  '{"FirmwareVersion":"1.0.12","RxDataRate":40000,"TxDataRate":22000,"Newfirmware":0,"NewfirmwareUpgradeState":0}',
  'Mesh maker', '0', '3600', '02:10:18:cc:dd:01', '44', '2', ''),
 ('Host', 'Ethernet', 'desktop', '192.168.1.100', '', 'a4:5e:60:11:22:33',
  '0', '1000', 1, 0, '02:10:18:aa:bb:00', '2', 'desktop-pc', '', '0',
  '{"RxDataRate":1200,"TxDataRate":300}', 'PC maker', '0', '5000', '', '0', '0', ''),
 ('Host', 'WiFi 2.4G', 'phone', '192.168.1.101', '', '3c:22:fb:44:55:66',
  '-61', '144', 1, 0, '02:10:18:aa:bb:00', '1', 'alices-phone', '', '-61',
  '{"RxDataRate":800,"TxDataRate":150}', 'Phone maker', '0', '1800', '', '6', '1', ''),
 ('Host', 'WiFi 5G', 'tablet', '192.168.1.102', '', '3c:22:fb:77:88:99',
  '-55', '433', 1, 0, '02:10:18:cc:ee:01', '3', 'kids-tablet', '', '-55',
  '{"RxDataRate":2500,"TxDataRate":400}', 'Tablet maker', '1', '900', '', '44', '2', ''),
 ('Host', 'WiFi 2.4G', 'printer', '192.168.1.103', '', '00:1b:a9:01:02:03',
  '-70', '72', 0, 2, '02:10:18:aa:bb:00', '0', 'printer', '', '-70',
  'not json', 'Printer maker', '0', '0', '', '11', '1', ''),
 ('Host', 'Ethernet', 'old-laptop', '192.168.1.104', '', '00:1b:a9:04:05:06',
  '0', '100', 0, 3, '02:10:18:aa:bb:00', '2', 'old-laptop', '', '0',
  NULL, NULL, '0', '0', '', '0', '0', '');

INSERT INTO DevFunc VALUES
 ('02:10:18:aa:bb:00', '0', 'On', 'On', '1', '1', '1', '1.2', '0', '0', '6', '44', 1, 1, 'Router'),
 ('02:10:18:cc:dd:01', '511', 'On', 'On', '1', '1', '0', '1.2', '0', '0', '6', '44', 1, 1, 'AP'),
 ('02:10:18:cc:ee:01', '511', 'On', 'Off', '1', '0', '0', '1.5', '144', '866', '6', '44', 0, 0, 'AP');
