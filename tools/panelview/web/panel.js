// The panel view's page: follows the panel through the view's event stream (api/events) and sends the
// operator's presses, releases and fader moves to api/event. The server keeps the panel; this page
// draws what it is told: a snapshot, then single changes.
'use strict';

(() => {
  const panel = document.getElementById('panel');
  const status = document.getElementById('status');
  const message = document.getElementById('message');
  const empty = document.getElementById('empty');

  const statusTexts = {
    connecting: 'connecting to the view',
    waiting: 'waiting for the panel',
    up: 'panel connected',
    down: 'link to the panel lost',
    offline: 'view server unreachable',
  };
  // Lamp colours by the COLOR attribute; other numbers get a hue of their own.
  const palette = ['#ffb000', '#ff3b30', '#34c759', '#ffd60a', '#0a84ff', '#f2f2f7', '#64d2ff', '#bf5af2'];

  const widgets = new Map(); // control id -> {data, element}

  function setStatus(state) {
    status.dataset.state = state;
    status.textContent = statusTexts[state] || state;
    document.body.dataset.link = state;
  }

  let messageTimer = 0;
  function showMessage(text) {
    message.textContent = text;
    clearTimeout(messageTimer);
    messageTimer = setTimeout(() => { message.textContent = ''; }, 4000);
  }

  function lampColor(color) {
    if (Number.isInteger(color) && color >= 0 && color < palette.length) return palette[color];
    return `hsl(${(Number(color) * 47) % 360}, 90%, 55%)`;
  }

  function send(widget, action, value) {
    const body = { widget, action };
    if (value !== undefined) body.value = value;
    fetch('api/event', {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body: JSON.stringify(body),
    }).then((response) => {
      if (!response.ok) {
        return response.json().then((answer) => showMessage(answer.error || `refused (${response.status})`));
      }
      return undefined;
    }).catch(() => showMessage('the view server did not answer'));
  }

  function make(tag, className, text) {
    const element = document.createElement(tag);
    if (className) element.className = className;
    if (text !== undefined) element.textContent = text;
    return element;
  }

  // Keeps children ordered by their data-order number.
  function insertOrdered(parent, child) {
    const order = Number(child.dataset.order);
    const next = Array.from(parent.children).find((c) => Number(c.dataset.order) > order);
    parent.insertBefore(child, next || null);
  }

  function container(parent, selector, create) {
    let element = parent.querySelector(`:scope > ${selector}`);
    if (!element) {
      element = create();
      insertOrdered(parent, element);
    }
    return element;
  }

  function modulesBox(module) {
    const workplace = container(panel, `section[data-workplace="${module.workplace}"]`, () => {
      const section = make('section', 'workplace');
      section.dataset.workplace = module.workplace;
      section.dataset.order = module.workplace;
      section.append(make('h2', '', `Workplace ${module.workplace}`));
      return section;
    });
    const group = container(workplace, `div[data-group="${module.group}"]`, () => {
      const div = make('div', 'group');
      div.dataset.group = module.group;
      div.dataset.order = module.group;
      div.append(make('h3', '', `Group ${module.group}`), make('div', 'modules'));
      return div;
    });
    return group.querySelector('.modules');
  }

  // Lamp buttons press on pointer or key down and release on up; faders move as they are dragged.
  function attachInput(widget, element) {
    if (widget.kind === 'lamp') {
      let pressed = false;
      const down = () => {
        if (pressed) return;
        pressed = true;
        element.dataset.pressed = 'true';
        send(widget.id, 'press');
      };
      const up = () => {
        if (!pressed) return;
        pressed = false;
        element.dataset.pressed = 'false';
        send(widget.id, 'release');
      };
      element.addEventListener('pointerdown', (event) => {
        if (event.button !== 0) return;
        element.setPointerCapture(event.pointerId);
        down();
      });
      element.addEventListener('pointerup', up);
      element.addEventListener('pointercancel', up);
      element.addEventListener('lostpointercapture', up);
      element.addEventListener('keydown', (event) => {
        if ((event.key === ' ' || event.key === 'Enter') && !event.repeat) {
          event.preventDefault();
          down();
        }
      });
      element.addEventListener('keyup', (event) => {
        if (event.key === ' ' || event.key === 'Enter') up();
      });
      element.addEventListener('blur', up);
    } else if (widget.kind === 'fader') {
      const input = element.querySelector('input');
      input.addEventListener('pointerdown', () => { element.dataset.dragging = 'true'; });
      const settle = () => {
        delete element.dataset.dragging;
        paint(widgets.get(widget.id));
      };
      input.addEventListener('pointerup', settle);
      input.addEventListener('change', settle);
      input.addEventListener('input', () => {
        element.querySelector('output').textContent = input.value;
        send(widget.id, 'move', Number(input.value));
      });
    }
  }

  function build(widget) {
    let element;
    const title = `${widget.id} ${widget.name || ''} ${widget.type ? `(${widget.type})` : '(type not described)'}`;
    if (widget.kind === 'lamp') {
      element = make('button', 'widget lamp');
      element.type = 'button';
      element.append(make('span', 'lampface'), make('span', 'label'));
    } else if (widget.kind === 'display') {
      element = make('div', 'widget display');
      element.append(make('span', 'text'), make('span', 'caption', widget.name || `#${widget.number}`));
    } else if (widget.kind === 'fader') {
      element = make('div', 'widget fader');
      const input = make('input');
      input.type = 'range';
      input.min = '0';
      input.max = '100';
      input.step = '1';
      input.setAttribute('aria-label', widget.name || `fader ${widget.number}`);
      element.append(input, make('output'), make('span', 'caption', widget.name || `#${widget.number}`));
    } else {
      element = make('div', 'widget box');
      element.append(make('span', 'caption', `${widget.name || `#${widget.number}`} ${widget.type || '?'}`),
        make('dl'));
    }
    element.title = title.trim();
    element.dataset.widget = widget.id;
    element.dataset.kind = widget.kind;
    element.dataset.order = widget.number;
    attachInput(widget, element);
    return element;
  }

  // Shows a control's attributes on its element.
  function paint(entry) {
    const { data, element } = entry;
    const a = data.attributes;
    if (data.kind === 'lamp') {
      element.dataset.lit = String(a.LAMP === true);
      element.style.setProperty('--lamp-color', lampColor(a.COLOR));
      element.querySelector('.label').textContent = a.LABEL || data.name || '';
    } else if (data.kind === 'display') {
      element.querySelector('.text').textContent = a.TEXT !== undefined ? String(a.TEXT) : '';
      const brightness = Number.isFinite(a.BRIGHTNESS) ? a.BRIGHTNESS : 100;
      element.querySelector('.text').style.opacity = String(0.25 + 0.75 * Math.min(Math.max(brightness, 0), 100) / 100);
    } else if (data.kind === 'fader') {
      const position = Number.isFinite(a.POSITION) ? a.POSITION : 0;
      element.classList.toggle('motor', a.MOTOR === true);
      if (!element.dataset.dragging) {
        element.querySelector('input').value = String(position);
        element.querySelector('output').textContent = String(position);
      }
    } else {
      const list = element.querySelector('dl');
      list.replaceChildren();
      for (const name of Object.keys(a).sort()) {
        list.append(make('dt', '', name), make('dd', '', JSON.stringify(a[name])));
      }
    }
  }

  function placeWidget(box, widget) {
    const old = widgets.get(widget.id);
    const element = build(widget);
    if (old) old.element.replaceWith(element);
    else insertOrdered(box, element);
    const entry = { data: widget, element };
    widgets.set(widget.id, entry);
    paint(entry);
  }

  function removeModule(id) {
    const element = panel.querySelector(`article[data-module="${id}"]`);
    if (!element) return;
    for (const key of Array.from(widgets.keys())) {
      if (key.startsWith(`${id}.`)) widgets.delete(key);
    }
    const group = element.closest('.group');
    element.remove();
    // Empty groups and workplaces go with their last module.
    if (group && !group.querySelector('article')) {
      const workplace = group.closest('.workplace');
      group.remove();
      if (!workplace.querySelector('article')) workplace.remove();
    }
  }

  function placeModule(module) {
    removeModule(module.id);
    const element = make('article', 'module');
    element.dataset.module = module.id;
    element.dataset.type = module.type;
    element.dataset.order = module.number;
    if (!module.known) element.classList.add('unknown');
    const header = make('header');
    header.append(make('span', 'position', module.id),
      make('span', 'type', module.reported ? module.type : 'no module report'));
    if (module.version) header.append(make('span', 'version', `v${module.version}`));
    if (module.port !== null && module.port !== undefined) {
      header.title = `port ${module.port}, connector ${module.connector}`;
    }
    const box = make('div', 'widgets');
    element.append(header, box);
    insertOrdered(modulesBox(module), element);
    for (const widget of module.widgets) placeWidget(box, widget);
  }

  function updateEmpty() {
    empty.hidden = panel.querySelector('article') !== null;
  }

  function handle(event) {
    switch (event.event) {
      case 'snapshot':
        panel.replaceChildren();
        widgets.clear();
        for (const module of event.modules) placeModule(module);
        setStatus(event.link);
        break;
      case 'link':
        setStatus(event.state);
        break;
      case 'module':
        placeModule(event.module);
        break;
      case 'unplug':
        removeModule(event.id);
        break;
      case 'widget': {
        const moduleId = event.widget.id.split('.').slice(0, 3).join('.');
        const box = panel.querySelector(`article[data-module="${moduleId}"] .widgets`);
        if (box) placeWidget(box, event.widget);
        break;
      }
      case 'attribute': {
        const entry = widgets.get(event.id);
        if (entry) {
          entry.data.attributes[event.name] = event.value;
          paint(entry);
        }
        break;
      }
      case 'trigger': {
        const entry = widgets.get(event.id);
        if (entry) {
          entry.element.dataset.trigger = `${event.name} ${event.value}`;
          entry.element.classList.add('triggered');
          setTimeout(() => entry.element.classList.remove('triggered'), 600);
        }
        break;
      }
      default:
        break; // an event of a later view
    }
    updateEmpty();
  }

  function follow() {
    const source = new EventSource('api/events');
    source.onmessage = (message) => handle(JSON.parse(message.data));
    source.onerror = () => {
      setStatus('offline');
      // A refused stream (too many pages) is not retried by the browser itself.
      if (source.readyState === EventSource.CLOSED) setTimeout(follow, 2000);
    };
  }

  setStatus('connecting');
  follow();
})();
