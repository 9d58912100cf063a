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
-- Times are UTC. Night is from 22 to 5 o'clock: put the hours by which the clocks
-- of the sites are ahead in the place of the 0.
WITH radio AS (SELECT site, uuid, name, max(time) FROM node
               WHERE kind = 'client' GROUP BY site, uuid)
SELECT status.site, radio.name, count(*) AS failures,
       sum((substr(status.time, 12, 2) + 24 + 0) % 24 NOT BETWEEN 5 AND 21) AS at_night
FROM status JOIN radio ON radio.site = status.site AND radio.uuid = status.key
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
WITH module AS (SELECT site, uuid, hw_id, fw_rev, max(time) FROM node
                WHERE kind = 'module' GROUP BY site, uuid),
     now AS (SELECT site, key, status_name, max(time) FROM status
             WHERE field = 'status_packet' GROUP BY site, key)
SELECT hw_id, fw_rev, count(*) AS modules, sum(status_name <> 'ok') AS out_of_order
FROM module JOIN now ON now.site = module.site AND now.key = module.uuid
GROUP BY hw_id, fw_rev ORDER BY hw_id, fw_rev;

-- What do the sites charge for a product?
-- Only prices that are numbers, such as 2 or 2.50, are the lowest and the highest.
WITH now AS (SELECT site, id, price, max(time) FROM product
             WHERE enabled GROUP BY site, id),
     amount AS (SELECT id, CASE WHEN price GLOB '[0-9]*' AND price GLOB '*[0-9]'
                                 AND price NOT GLOB '*[^0-9.]*' AND price NOT GLOB '*.*.*'
                                 AND length(price) < 16
                           THEN CAST(price AS REAL) END AS price FROM now)
SELECT id, count(*) AS sites, min(price) AS lowest, max(price) AS highest
FROM amount GROUP BY id ORDER BY id;
