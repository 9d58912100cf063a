-- Five questions of a head office, for the database of an office.

-- Which signs have shown a wrong price for an hour?
WITH good AS (SELECT site, key, max(time) AS last FROM status
              WHERE field = 'price_sync_status_packet' AND status_name = 'price_update_ok'
              GROUP BY site, key)
SELECT status.site, status.key AS display, min(status.time) AS since
FROM status LEFT JOIN good USING (site, key)
WHERE field = 'price_sync_status_packet' AND key NOT LIKE 'prices-%'
  AND status_name <> 'price_update_ok' AND status.time > ifnull(good.last, '')
GROUP BY status.site, status.key
HAVING since < (SELECT strftime('%Y-%m-%dT%H:%M:%f', max(time), '-1 hour') FROM record)
ORDER BY since;

-- Which radios lose contact at night?
SELECT status.site, radio.name, count(*) AS failures,
       sum(substr(status.time, 12, 2) NOT BETWEEN '05' AND '21') AS at_night
FROM status JOIN (SELECT DISTINCT site, uuid, name FROM node WHERE kind = 'client') AS radio
       ON radio.site = status.site AND radio.uuid = status.key
WHERE status.field = 'status_packet' AND status.status_name = 'comm_error'
GROUP BY status.site, status.key
HAVING failures >= 3 AND at_night > failures / 2
ORDER BY at_night DESC, failures, status.site;

-- Which sites have said nothing for an hour?
SELECT site, max(time) AS last FROM record
GROUP BY site
HAVING last < (SELECT strftime('%Y-%m-%dT%H:%M:%f', max(time), '-1 hour') FROM record)
ORDER BY last;

-- How many modules of each firmware are out of order now?
WITH module AS (SELECT DISTINCT site, uuid, hw_id, fw_rev FROM node WHERE kind = 'module'),
     now AS (SELECT site, key, status_name, max(time) FROM status
             WHERE field = 'status_packet' GROUP BY site, key)
SELECT hw_id, fw_rev, count(*) AS modules, sum(status_name <> 'ok') AS out_of_order
FROM module JOIN now ON now.site = module.site AND now.key = module.uuid
GROUP BY hw_id, fw_rev ORDER BY hw_id, fw_rev;

-- What do the sites charge for a product?
WITH now AS (SELECT site, id, price, max(time) FROM product
             WHERE enabled GROUP BY site, id)
SELECT id, count(*) AS sites, min(0 + price) AS lowest, max(0 + price) AS highest
FROM now GROUP BY id ORDER BY id;
