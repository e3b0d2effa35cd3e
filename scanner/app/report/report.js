// The page of a scan, made from the data that it carries. Every text is set as text, never as markup.

const byId = (id) => document.getElementById(id);

/** An element with a text and attributes. */
function make(name, text = "", attributes = {}) {
  const element = document.createElement(name);
  element.textContent = text;
  for (const [key, value] of Object.entries(attributes)) {
    element.setAttribute(key, value);
  }
  return element;
}

function makeSvg(name, attributes, text = "") {
  const element = document.createElementNS("http://www.w3.org/2000/svg", name);
  element.textContent = text;
  for (const [key, value] of Object.entries(attributes)) {
    element.setAttribute(key, value);
  }
  return element;
}

/** The bytes of a base64 text. */
const decode = (text) => Uint8Array.from(atob(text), (letter) => letter.charCodeAt(0));

/** Fixed decimals with a true minus sign; a dash for what is no number. */
function number(value, decimals) {
  return typeof value === "number" ? value.toFixed(decimals).replace("-", "\u2212") : "\u2013";
}

// ---- Colours

/** From far to near, as in the depth picture. */
const DEPTH_SCALE = [[49, 54, 149], [69, 117, 180], [116, 196, 173], [194, 230, 120], [253, 174, 67], [190, 20, 38]];
/** From no error to the largest; its lightness rises all the way. */
const ERROR_SCALE = [[44, 62, 120], [40, 110, 142], [34, 150, 136], [98, 190, 90], [200, 214, 50], [253, 240, 170]];
const NO_ERROR_KNOWN = [110, 110, 110];

/** Colour of a place from 0 to 1 on a scale. */
function scaleColour(scale, place) {
  const position = Math.min(Math.max(place, 0), 1) * (scale.length - 1);
  const lower = Math.min(Math.floor(position), scale.length - 2);
  return scale[lower].map((level, channel) =>
    Math.round(level + (position - lower) * (scale[lower + 1][channel] - level)));
}

// ---- The cloud

/** The points as numbers: positions in mm, errors in micrometres with NaN where there is none. */
function readCloud(data) {
  const steps = new Uint16Array(decode(data.positions).buffer);
  const positions = new Float32Array(steps.length);
  for (let at = 0; at < steps.length; ++at) {
    positions[at] = data.origin_mm[at % 3] + steps[at] * data.step_mm[at % 3];
  }
  const cloud = { count: data.count, positions, colours: decode(data.colours), depths: data.depth_range_mm, errors: null };
  if (data.errors !== undefined) {
    const noError = 65535;
    cloud.errors = Float32Array.from(new Uint16Array(decode(data.errors).buffer),
                                     (step) => step === noError ? NaN : step * data.error_step_um);
    cloud.errorLimit = data.error_limit_um;
  }
  return cloud;
}

/** Colours of all points, four bytes each, as the renderers want them. */
function paint(cloud, colouring) {
  const [near, far] = cloud.depths;
  const range = Math.max(far - near, 1e-9);
  const painters = {
    depth: (point) => scaleColour(DEPTH_SCALE, (far - cloud.positions[3 * point + 2]) / range),
    error: (point) => Number.isNaN(cloud.errors[point]) ? NO_ERROR_KNOWN
      : scaleColour(ERROR_SCALE, cloud.errors[point] / cloud.errorLimit),
    camera: (point) => cloud.colours.subarray(3 * point, 3 * point + 3),
  };
  const bytes = new Uint8Array(4 * cloud.count).fill(255);
  for (let point = 0; point < cloud.count; ++point) {
    bytes.set(painters[colouring](point), 4 * point);
  }
  return bytes;
}

function showLegend(cloud, colouring) {
  const legend = byId("legend");
  const [low, bar, high] = legend.children;
  legend.style.visibility = colouring === "camera" ? "hidden" : "visible";
  const isError = colouring === "error";
  low.textContent = isError ? "0 \u00b5m" : number(cloud.depths[1], 2) + " mm";
  high.textContent = isError ? "\u2265 " + cloud.errorLimit + " \u00b5m" : number(cloud.depths[0], 2) + " mm";
  const context = bar.getContext("2d");
  for (let x = 0; x < bar.width; ++x) {
    const colour = scaleColour(isError ? ERROR_SCALE : DEPTH_SCALE, x / (bar.width - 1));
    context.fillStyle = `rgb(${colour.join(",")})`;
    context.fillRect(x, 0, 1, 1);
  }
}

/** The largest of 1, 2, 5, 10 ... that is at most `limit`. */
function roundLength(limit) {
  const power = 10 ** Math.floor(Math.log10(limit));
  return [5, 2, 1].find((digit) => digit * power <= limit) * power;
}

function showScale(pixelsPerMm) {
  const length = roundLength(120 / pixelsPerMm);
  const [text, bar] = byId("scalebar").children;
  text.textContent = length >= 1 ? `${length} mm` : `${Math.round(1000 * length)} \u00b5m`;
  bar.style.width = `${length * pixelsPerMm}px`;
}

function showAxes(rotation) {
  const axes = ["x", "y", "z"].map((name, axis) => {
    const [x, y, depth] = [rotation[axis], -rotation[3 + axis], rotation[6 + axis]];
    const line = makeSvg("line", { x1: 0, y1: 0, x2: 22 * x, y2: 22 * y, stroke: ["#e0685c", "#6fbf6a", "#6fa8e6"][axis] });
    return { depth, parts: [line, makeSvg("text", { x: 31 * x, y: 31 * y }, name)] };
  });
  axes.sort((one, other) => one.depth - other.depth);
  byId("axes").replaceChildren(...axes.flatMap((axis) => axis.parts));
}

function showPoint(cloud, point) {
  const parts = [];
  if (point >= 0) {
    const [x, y, z] = cloud.positions.subarray(3 * point, 3 * point + 3);
    parts.push(`x ${number(x, 3)}`, `y ${number(y, 3)}`, `z ${number(z, 3)} mm`);
    if (cloud.errors && !Number.isNaN(cloud.errors[point])) {
      parts.push(`error ${number(cloud.errors[point], 1)} \u00b5m`);
    }
  }
  byId("readout").textContent = parts.join("   ") || "\u00a0";
}

function showCloud(data) {
  const cloud = readCloud(data);
  byId("error-choice").hidden = !cloud.errors;
  byId("cloud").setAttribute("aria-label", `Cloud of ${cloud.count} points`);
  const view = new CloudView(byId("cloud"), cloud.positions, paint(cloud, "depth"));
  view.onDraw = (camera, pixelsPerMm) => {
    showScale(pixelsPerMm);
    showAxes(camera.rotation);
    document.documentElement.dataset.ready = view.renderer.name;
  };
  view.onPick = (point) => showPoint(cloud, point);
  const choose = () => {
    const colouring = byId("colouring").querySelector("input:checked").value;
    view.show(paint(cloud, colouring));
    showLegend(cloud, colouring);
  };
  byId("colouring").addEventListener("change", choose);
  byId("reset").addEventListener("click", () => view.reset());
  choose();
}

// ---- The rest of the page

function showFigures(figures) {
  byId("figures").tBodies[0].replaceChildren(...figures.map((figure) => {
    const row = make("tr");
    const cell = make("td");
    if (typeof figure.value === "string") {
      cell.textContent = figure.value;
    } else {
      cell.append(make("data", number(figure.value, figure.decimals), { value: figure.value ?? "", id: "figure-" + figure.key }));
    }
    row.append(make("th", figure.label, { scope: "row" }), cell, make("td", figure.unit, { class: "unit" }));
    return row;
  }));
  byId("figures-part").hidden = figures.length === 0;
}

function showImages(images) {
  byId("images").replaceChildren(...images.map((image) => {
    const figure = make("figure");
    figure.append(make("img", "", { src: "data:image/png;base64," + image.png, alt: image.title, width: image.width, height: image.height }),
                  make("figcaption", image.title));
    return figure;
  }));
  document.querySelector(".images").hidden = images.length === 0;
}

/** @param width CSS pixels */
function drawHistogram({ limit_um: limit, counts, beyond }, width) {
  const [height, left, bottom, top] = [240, 48, 36, 20];
  const bars = counts.length + 1.5; // the last one, of what is beyond the scale, stands apart
  const highest = Math.max(1, ...counts, beyond);
  const total = counts.reduce((sum, count) => sum + count, beyond);
  const pitch = (width - left - 8) / bars;
  const y = (count) => height - bottom - (height - bottom - top) * count / highest;
  const svg = makeSvg("svg", { width, height, role: "img",
    "aria-label": `Histogram of ${total} errors from 0 to ${limit} \u00b5m; ${beyond} are larger` });
  for (const count of [0, highest / 2, highest]) {
    svg.append(makeSvg("line", { x1: left, x2: width, y1: y(count), y2: y(count) }),
               makeSvg("text", { x: left - 6, y: y(count) + 4, "text-anchor": "end" }, String(Math.round(count))));
  }
  const bar = (place, count, title, kind) => {
    const rect = makeSvg("rect", { x: left + pitch * place + 0.5, y: y(count), width: Math.max(pitch - 1, 0.5),
      height: height - bottom - y(count), class: kind });
    rect.append(makeSvg("title", {}, `${title}: ${count} points`));
    svg.append(rect);
  };
  const step = limit / counts.length;
  const edge = (place) => String(Number((step * place).toPrecision(4)));
  counts.forEach((count, place) => bar(place, count, `${edge(place)} to ${edge(place + 1)} \u00b5m`, "within"));
  bar(counts.length + 0.5, beyond, `${limit} \u00b5m and more`, "beyond");
  for (let tick = 0; tick <= 4; ++tick) {
    const place = counts.length * tick / 4;
    svg.append(makeSvg("text", { x: left + pitch * place, y: height - bottom + 16, "text-anchor": "middle" }, edge(place)));
  }
  svg.append(makeSvg("text", { x: width - 4, y: y(beyond) - 5, "text-anchor": "end" }, "more"),
             makeSvg("text", { x: left + pitch * counts.length / 2, y: height - 4, "text-anchor": "middle" },
                     "distance from the true surface, \u00b5m"));
  return svg;
}

function showHistogram(histogram) {
  const place = byId("histogram");
  new ResizeObserver(() => place.replaceChildren(drawHistogram(histogram, Math.max(place.clientWidth, 200)))).observe(place);
}

function showStages(groups) {
  for (const group of groups) {
    const table = make("table", "", { class: "times" });
    const total = group.stages.reduce((sum, stage) => sum + stage.ms, 0);
    const longest = Math.max(1e-9, ...group.stages.map((stage) => stage.ms));
    for (const stage of [...group.stages, { name: "together", ms: total, isSum: true }]) {
      const row = make("tr");
      const track = make("td", "", { class: "track" });
      if (!stage.isSum) {
        track.append(make("i"));
        track.firstChild.style.width = `${100 * stage.ms / longest}%`;
      }
      row.append(make("th", stage.name, { scope: "row" }), track, make("td", number(stage.ms, 1) + " ms"));
      table.append(row);
    }
    byId("stages").append(make("h3", group.title), table);
  }
  byId("stages").hidden = groups.length === 0;
}

const scan = JSON.parse(byId("scan").textContent);
document.title = scan.title;
byId("title").textContent = scan.title;
byId("subtitle").textContent = scan.subtitle;
showFigures(scan.figures);
showImages(scan.images);
byId("errors").hidden = scan.histogram === undefined;
if (scan.histogram !== undefined) {
  showHistogram(scan.histogram);
}
showStages(scan.stages);
showCloud(scan.cloud);
