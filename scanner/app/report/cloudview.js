// The point cloud: how it is seen, two ways to draw it, and what the mouse, fingers and keys do to it.

/** Orthographic view of a cloud. Screen x runs to the right, y down, depth towards the viewer. */
class CloudCamera {
  /** @param centre mm, what stays in the middle; @param radius mm, what fits into the picture */
  constructor(centre, radius) {
    this.centre = centre;
    this.radius = radius;
    this.reset();
  }

  /** Nearly what the scanner's camera sees: its y and z lead down and away, the screen's up and towards the viewer. */
  reset() {
    this.rotation = [1, 0, 0, 0, -1, 0, 0, 0, -1];
    this.zoom = 1;
    this.shift = [0, 0];
    this.turn(-0.35, -0.45);
  }

  /** Turns what is in front to the right and down; radians. */
  turn(right, down) {
    const [cy, sy, cx, sx] = [Math.cos(right), Math.sin(right), Math.cos(down), Math.sin(down)];
    this.rotation = CloudCamera.orthonormal(
      CloudCamera.product([1, 0, 0, 0, cx, -sx, 0, sx, cx],
                          CloudCamera.product([cy, 0, sy, 0, 1, 0, -sy, 0, cy], this.rotation)));
  }

  /** Moves by shares of the picture's smaller side, right and up. */
  move(right, up) {
    this.shift = [this.shift[0] + right, this.shift[1] + up];
  }

  /** Zooms about a place that is given as for `move`, relative to the middle. */
  magnify(factor, right, up) {
    const zoom = Math.min(Math.max(this.zoom * factor, 0.2), 200);
    const change = zoom / this.zoom;
    this.shift = [right + (this.shift[0] - right) * change, up + (this.shift[1] - up) * change];
    this.zoom = zoom;
  }

  /** Pixels a millimetre. */
  scale(width, height) {
    return this.zoom * Math.min(width, height) / (2 * this.radius);
  }

  static product(a, b) {
    const result = [];
    for (let row = 0; row < 9; row += 3) {
      for (let column = 0; column < 3; ++column) {
        result.push(a[row] * b[column] + a[row + 1] * b[3 + column] + a[row + 2] * b[6 + column]);
      }
    }
    return result;
  }

  /** Takes rounding out of a rotation, so that thousands of small turns do not shear the cloud. */
  static orthonormal([a, b, c, d, e, f]) {
    const first = Math.hypot(a, b, c);
    [a, b, c] = [a / first, b / first, c / first];
    const along = a * d + b * e + c * f;
    [d, e, f] = [d - along * a, e - along * b, f - along * c];
    const second = Math.hypot(d, e, f);
    [d, e, f] = [d / second, e / second, f / second];
    return [a, b, c, d, e, f, b * f - c * e, c * d - a * f, a * e - b * d];
  }
}

const BACKGROUND = [20, 23, 27];

/** Draws with WebGL. */
class WebGlRenderer {
  /** @throws Error where the browser has no WebGL; the canvas can then still be drawn on in another way */
  constructor(canvas, positions) {
    this.gl = canvas.getContext("webgl", { antialias: true, preserveDrawingBuffer: true });
    if (!this.gl) {
      throw new Error("there is no WebGL");
    }
    this.name = "webgl";
    this.positions = positions;
    this.prepare();
  }

  prepare() {
    const gl = this.gl;
    const program = gl.createProgram();
    const add = (type, source) => {
      const shader = gl.createShader(type);
      gl.shaderSource(shader, source);
      gl.compileShader(shader);
      gl.attachShader(program, shader);
    };
    add(gl.VERTEX_SHADER, `
      attribute vec3 position;
      attribute vec3 colour;
      uniform vec3 centre;
      uniform mat3 rotation;
      uniform vec3 scale;
      uniform vec2 shift;
      uniform float size;
      varying vec3 shade;
      void main() {
        vec3 seen = rotation * (position - centre);
        gl_Position = vec4(seen * scale + vec3(shift, 0.0), 1.0);
        gl_PointSize = size;
        shade = colour;
      }`);
    add(gl.FRAGMENT_SHADER, `
      precision mediump float;
      varying vec3 shade;
      void main() {
        vec2 beside = gl_PointCoord - 0.5;
        if (dot(beside, beside) > 0.25) {
          discard;
        }
        gl_FragColor = vec4(shade, 1.0);
      }`);
    gl.linkProgram(program);
    if (!gl.getProgramParameter(program, gl.LINK_STATUS) && !gl.isContextLost()) {
      throw new Error("the shaders do not link: " + gl.getProgramInfoLog(program));
    }
    gl.useProgram(program);
    this.uniforms = {};
    for (const name of ["centre", "rotation", "scale", "shift", "size"]) {
      this.uniforms[name] = gl.getUniformLocation(program, name);
    }
    const attribute = (name, size, type, normalised) => {
      const buffer = gl.createBuffer();
      gl.bindBuffer(gl.ARRAY_BUFFER, buffer);
      const location = gl.getAttribLocation(program, name);
      gl.enableVertexAttribArray(location);
      gl.vertexAttribPointer(location, size, type, normalised, 0, 0);
      return buffer;
    };
    attribute("position", 3, gl.FLOAT, false);
    gl.bufferData(gl.ARRAY_BUFFER, this.positions, gl.STATIC_DRAW);
    this.colourBuffer = attribute("colour", 4, gl.UNSIGNED_BYTE, true);
    gl.enable(gl.DEPTH_TEST);
    gl.clearColor(...BACKGROUND.map((level) => level / 255), 1);
    this.colours = null;
  }

  /** @param colours red, green, blue and an unused byte for each point */
  draw(camera, colours, width, height, size) {
    const gl = this.gl;
    if (this.colours !== colours) {
      gl.bindBuffer(gl.ARRAY_BUFFER, this.colourBuffer);
      gl.bufferData(gl.ARRAY_BUFFER, colours, gl.STATIC_DRAW);
      this.colours = colours;
    }
    const side = Math.min(width, height);
    const scale = camera.scale(width, height);
    const [a, b, c, d, e, f, g, h, i] = camera.rotation;
    gl.viewport(0, 0, width, height);
    gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    gl.uniform3fv(this.uniforms.centre, camera.centre);
    gl.uniformMatrix3fv(this.uniforms.rotation, false, [a, d, g, b, e, h, c, f, i]);
    gl.uniform3f(this.uniforms.scale, 2 * scale / width, 2 * scale / height, -1 / camera.reach);
    gl.uniform2f(this.uniforms.shift, 2 * camera.shift[0] * side / width, 2 * camera.shift[1] * side / height);
    gl.uniform1f(this.uniforms.size, size);
    gl.drawArrays(gl.POINTS, 0, this.positions.length / 3);
  }
}

/** Draws pixel by pixel, where there is no WebGL. */
class PixelRenderer {
  constructor(canvas, positions) {
    this.context = canvas.getContext("2d", { alpha: false });
    this.name = "pixels";
    this.positions = positions;
    this.image = null;
  }

  draw(camera, colours, width, height, size) {
    if (!this.image || this.image.width !== width || this.image.height !== height) {
      this.image = this.context.createImageData(width, height);
      this.pixels = new Uint32Array(this.image.data.buffer);
      this.depths = new Float32Array(width * height);
      this.background = new Uint32Array(new Uint8Array([...BACKGROUND, 255]).buffer)[0];
    }
    this.pixels.fill(this.background);
    this.depths.fill(-Infinity);
    const { positions, pixels, depths } = this;
    const [a, b, c, d, e, f, g, h, i] = camera.rotation;
    const [cx, cy, cz] = camera.centre;
    const scale = camera.scale(width, height);
    const side = Math.min(width, height);
    const [middleX, middleY] = [width / 2 + camera.shift[0] * side, height / 2 - camera.shift[1] * side];
    const words = new Uint32Array(colours.buffer);
    const extent = Math.max(1, Math.round(size));
    for (let point = 0, at = 0; at < positions.length; ++point, at += 3) {
      const [x, y, z] = [positions[at] - cx, positions[at + 1] - cy, positions[at + 2] - cz];
      const left = Math.round(middleX + scale * (a * x + b * y + c * z) - extent / 2);
      const top = Math.round(middleY - scale * (d * x + e * y + f * z) - extent / 2);
      const depth = g * x + h * y + i * z;
      const [right, bottom] = [Math.min(left + extent, width), Math.min(top + extent, height)];
      for (let row = Math.max(top, 0); row < bottom; ++row) {
        for (let pixel = row * width + Math.max(left, 0); pixel < row * width + right; ++pixel) {
          if (depth > depths[pixel]) {
            depths[pixel] = depth;
            pixels[pixel] = words[point];
          }
        }
      }
    }
    this.context.putImageData(this.image, 0, 0);
  }
}

/** The cloud on its canvas. */
class CloudView {
  /**
   * @param positions x, y, z of each point; mm, camera frame
   * @param colours as the renderers want them; `show` replaces them
   */
  constructor(canvas, positions, colours) {
    this.canvas = canvas;
    this.positions = positions;
    this.colours = colours;
    this.onDraw = () => {};
    this.onPick = () => {};
    this.fit();
    try {
      this.renderer = new WebGlRenderer(canvas, positions);
    } catch (error) {
      this.renderer = new PixelRenderer(canvas, positions);
    }
    canvas.addEventListener("webglcontextlost", (event) => event.preventDefault());
    canvas.addEventListener("webglcontextrestored", () => {
      this.renderer.prepare();
      this.redraw();
    });
    this.listen();
    new ResizeObserver(() => this.redraw()).observe(canvas);
  }

  /** Places the camera so that all but stray points are seen, and finds how far apart points are. */
  fit() {
    const { positions } = this;
    const count = positions.length / 3;
    const [centre, extent] = [[0, 0, 0], [1, 1, 1]];
    for (let axis = 0; axis < 3 && count > 0; ++axis) {
      const values = new Float32Array(count);
      for (let point = 0; point < count; ++point) {
        values[point] = positions[3 * point + axis];
      }
      values.sort();
      const tail = Math.floor(count / 100);
      centre[axis] = (values[tail] + values[count - 1 - tail]) / 2;
      extent[axis] = values[count - 1 - tail] - values[tail];
    }
    this.camera = new CloudCamera(centre, Math.max(0.42 * Math.hypot(...extent), 1e-3));
    this.camera.reach = this.camera.radius;
    for (let at = 0; at < positions.length; at += 3) {
      const distance = Math.hypot(positions[at] - centre[0], positions[at + 1] - centre[1], positions[at + 2] - centre[2]);
      this.camera.reach = Math.max(this.camera.reach, 1.001 * distance);
    }
    this.spacing = Math.sqrt(extent[0] * extent[1] / Math.max(count, 1));
  }

  /** Draws the points in other colours. */
  show(colours) {
    this.colours = colours;
    this.redraw();
  }

  reset() {
    this.camera.reset();
    this.redraw();
  }

  /** Draws before the next picture of the browser, however often it is called until then. */
  redraw() {
    if (!this.waiting) {
      this.waiting = true;
      requestAnimationFrame(() => {
        this.waiting = false;
        this.draw();
      });
    }
  }

  draw() {
    const { canvas, camera } = this;
    const density = window.devicePixelRatio || 1;
    const width = Math.max(1, Math.round(canvas.clientWidth * density));
    const height = Math.max(1, Math.round(canvas.clientHeight * density));
    if (canvas.width !== width || canvas.height !== height) {
      canvas.width = width;
      canvas.height = height;
    }
    const size = Math.min(Math.max(2 * this.spacing * camera.scale(width, height), 1.5 * density), 32);
    this.renderer.draw(camera, this.colours, width, height, size);
    this.onDraw(camera, camera.scale(width, height) / density);
  }

  /** The point that is seen at a place of the canvas, CSS pixels; -1 if there is none within a few pixels. */
  pick(x, y) {
    const { positions, camera, canvas } = this;
    const [width, height] = [canvas.clientWidth, canvas.clientHeight];
    const scale = camera.scale(width, height);
    const side = Math.min(width, height);
    const right = (x - width / 2 - camera.shift[0] * side) / scale;
    const up = -(y - height / 2 + camera.shift[1] * side) / scale;
    const [a, b, c, d, e, f, g, h, i] = camera.rotation;
    const reach = Math.max(4 / scale, this.spacing);
    let [best, nearest] = [-1, -Infinity];
    for (let at = 0; at < positions.length; at += 3) {
      const dx = positions[at] - camera.centre[0];
      const dy = positions[at + 1] - camera.centre[1];
      const dz = positions[at + 2] - camera.centre[2];
      const beside = Math.hypot(a * dx + b * dy + c * dz - right, d * dx + e * dy + f * dz - up);
      // Nearer to the viewer counts, and so does nearer to the place.
      const rank = g * dx + h * dy + i * dz - 2 * beside;
      if (beside <= reach && rank > nearest) {
        [best, nearest] = [at / 3, rank];
      }
    }
    return best;
  }

  listen() {
    const { canvas } = this;
    const pointers = new Map();
    const place = (event) => ({ x: event.offsetX, y: event.offsetY });
    canvas.addEventListener("pointerdown", (event) => {
      canvas.setPointerCapture(event.pointerId);
      pointers.set(event.pointerId, place(event));
      canvas.classList.add("dragged");
    });
    for (const end of ["pointerup", "pointercancel"]) {
      canvas.addEventListener(end, (event) => {
        pointers.delete(event.pointerId);
        canvas.classList.toggle("dragged", pointers.size > 0);
      });
    }
    canvas.addEventListener("pointermove", (event) => {
      const before = pointers.get(event.pointerId);
      const now = place(event);
      if (!before) {
        this.onPick(this.pick(now.x, now.y));
        return;
      }
      pointers.set(event.pointerId, now);
      const other = [...pointers].find(([id]) => id !== event.pointerId);
      if (other) {
        this.pinch(before, now, other[1]);
      } else if (event.shiftKey || (event.buttons & 6) !== 0) {
        this.moveBy(now.x - before.x, now.y - before.y);
      } else {
        this.turnBy(now.x - before.x, now.y - before.y);
      }
    });
    canvas.addEventListener("pointerleave", () => this.onPick(-1));
    canvas.addEventListener("contextmenu", (event) => event.preventDefault());
    canvas.addEventListener("dblclick", () => this.reset());
    canvas.addEventListener("wheel", (event) => {
      event.preventDefault();
      const lines = event.deltaMode === 0 ? event.deltaY / 40 : event.deltaY;
      this.magnifyAt(Math.exp(-0.06 * Math.max(-10, Math.min(10, lines))), place(event));
    }, { passive: false });
    canvas.addEventListener("keydown", (event) => this.press(event));
  }

  turnBy(x, y) {
    const turn = Math.PI / Math.max(1, Math.min(this.canvas.clientWidth, this.canvas.clientHeight));
    this.camera.turn(x * turn, y * turn);
    this.redraw();
  }

  moveBy(x, y) {
    const side = Math.max(1, Math.min(this.canvas.clientWidth, this.canvas.clientHeight));
    this.camera.move(x / side, -y / side);
    this.redraw();
  }

  magnifyAt(factor, { x, y }) {
    const [width, height] = [this.canvas.clientWidth, this.canvas.clientHeight];
    const side = Math.max(1, Math.min(width, height));
    this.camera.magnify(factor, (x - width / 2) / side, (height / 2 - y) / side);
    this.redraw();
  }

  /** Two fingers: their distance zooms, and their middle moves. */
  pinch(before, now, other) {
    const distance = (from) => Math.max(1, Math.hypot(from.x - other.x, from.y - other.y));
    this.magnifyAt(distance(now) / distance(before), { x: (now.x + other.x) / 2, y: (now.y + other.y) / 2 });
    this.moveBy((now.x - before.x) / 2, (now.y - before.y) / 2);
  }

  press(event) {
    const step = event.shiftKey ? 20 : 15;
    const arrows = { ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, -step], ArrowDown: [0, step] };
    const middle = { x: this.canvas.clientWidth / 2, y: this.canvas.clientHeight / 2 };
    const isCommand = event.ctrlKey || event.metaKey || event.altKey;
    if (isCommand) {
      return;
    }
    if (arrows[event.key]) {
      (event.shiftKey ? this.moveBy : this.turnBy).call(this, ...arrows[event.key]);
    } else if (event.key === "+" || event.key === "=") {
      this.magnifyAt(1.2, middle);
    } else if (event.key === "-") {
      this.magnifyAt(1 / 1.2, middle);
    } else if (event.key === "Home" || event.key === "0") {
      this.reset();
    } else {
      return;
    }
    event.preventDefault();
  }
}
