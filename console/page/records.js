'use strict';
// Draws the plots of a page of records. What is drawn is thinned to the width of the plot by minimum and
// maximum of each stretch, anew for each window of time, so that no peak is lost and a zoom costs nothing.
(() => {
  const data = JSON.parse(document.getElementById('data').textContent);
  const root = document.documentElement;
  const plots = [];
  const whole = [data.from, data.to > data.from ? data.to : data.from + 1000];
  let shown = whole;

  // The first index whose time is not before.
  const indexOf = (times, time) => {
    let low = 0, high = times.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (times[middle] < time) low = middle + 1; else high = middle;
    }
    return low;
  };

  // Points between two times: all of them when they are few, else the lowest and highest of each stretch, and in
  // each gap a point without a value, which breaks the line.
  const thin = (column, from, to, width) => {
    const times = column.times || data.times, values = column.values;
    const start = Math.max(0, indexOf(times, from) - 1), end = Math.min(times.length, indexOf(times, to) + 1);
    const step = Math.max(1, Math.floor((end - start) / (2 * width)));
    const points = [];
    let gap = data.gaps.findIndex(([, until]) => until >= times[start]);
    const add = i => {
      const before = points.length ? +points[points.length - 1][0] : times[i];
      while (gap >= 0 && gap < data.gaps.length && data.gaps[gap][1] <= times[i]) {
        const [began] = data.gaps[gap++];
        if (began >= before && points.length) points.push([new Date(began + 1), null]);
      }
      points.push([new Date(times[i]), values[i]]);
    };
    for (let i = start; i < end; i += step) {
      let low = -1, high = -1, missing = -1;
      for (let j = i; j < Math.min(end, i + step); ++j) {
        if (values[j] === null) { missing = j; continue; }
        if (low < 0 || values[j] < values[low]) low = j;
        if (high < 0 || values[j] > values[high]) high = j;
      }
      [...new Set(low < 0 ? [missing] : step === 1 ? [low] : [low, high])].sort((a, b) => a - b).forEach(add);
    }
    return points.length ? points : [[new Date(from), null]];
  };

  const colour = name => getComputedStyle(root).getPropertyValue(name).trim();
  const stamp = time => new Date(time).toISOString().slice(0, time % 1000 ? 23 : 19).replace('T', ' ');
  const optionsOf = () => ({
    colors: [colour('--line')], axisLineColor: colour('--rule'), gridLineColor: colour('--rule'),
  });
  const windowOf = plot => {
    const margin = (shown[1] - shown[0]) / 2;  // for a plot that is being dragged
    return thin(plot.column, shown[0] - margin, shown[1] + margin, 2 * plot.place.clientWidth || 2000);
  };

  const underlay = (canvas, area, graph) => {
    const x = time => Math.min(area.x + area.w, Math.max(area.x, graph.toDomXCoord(time)));
    canvas.fillStyle = colour('--gap');
    for (const [from, to] of data.gaps) {
      if (to < shown[0] || from > shown[1]) continue;
      canvas.fillRect(x(from), area.y, Math.max(1, x(to) - x(from)), area.h);
    }
    canvas.fillStyle = colour('--event');
    for (const [time] of data.events) {
      if (time <= data.from || time < shown[0] || time > shown[1]) continue;  // the first text is no change
      for (let y = area.y; y < area.y + area.h; y += 6) canvas.fillRect(x(time), y, 1, 3);
    }
  };

  const show = (from, to) => {
    const span = Math.max(1000, Math.min(to - from, whole[1] - whole[0]));
    const start = Math.max(whole[0], Math.min(from, whole[1] - span));
    shown = [start, start + span];
    for (const plot of plots) {
      if (plot.graph) plot.graph.updateOptions({file: windowOf(plot), dateWindow: shown});
    }
    document.getElementById('window').textContent = `${stamp(shown[0])} to ${stamp(shown[1])}`;
  };
  const zoom = factor => {
    const middle = (shown[0] + shown[1]) / 2, half = (shown[1] - shown[0]) / 2 * factor;
    show(middle - half, middle + half);
  };
  const move = part => show(shown[0] + part * (shown[1] - shown[0]), shown[1] + part * (shown[1] - shown[0]));

  const draw = plot => {
    if (plot.graph) return;
    plot.graph = new Dygraph(plot.place, windowOf(plot), {
      ...optionsOf(), labels: ['time', 'value'], labelsUTC: true, dateWindow: shown, legend: 'never',
      strokeWidth: 1.3, drawGapEdgePoints: true, pointSize: 1.5, underlayCallback: underlay, animatedZooms: false,
      xRangePad: 0, yRangePad: 8, axes: {y: {axisLabelWidth: 64}},
      highlightCallback: (event, time, points) => {
        plot.told.textContent = `${stamp(time)}   ${points.map(point => point.yval).join()}`;
      },
      unhighlightCallback: () => { plot.told.textContent = plot.said; },
      zoomCallback: (from, to) => show(from, to),
      drawCallback: graph => {  // dragged
        const [from, to] = graph.xAxisRange();
        if (Math.abs(from - shown[0]) + Math.abs(to - shown[1]) < 2) return;
        clearTimeout(plot.dragged);
        plot.dragged = setTimeout(() => show(...graph.xAxisRange()), 80);
      },
    });
  };

  const keys = {
    ArrowLeft: () => move(-0.25), ArrowRight: () => move(0.25), '+': () => zoom(0.5), '-': () => zoom(2),
    Home: () => show(...whole), '0': () => show(...whole),
  };
  const near = new IntersectionObserver(entries => {
    for (const entry of entries) if (entry.isIntersecting) draw(plots[Number(entry.target.dataset.column)]);
  }, {rootMargin: '800px'});
  document.querySelectorAll('.plot').forEach((place, i) => {
    const told = place.parentElement.querySelector('output');
    plots.push({place, told, said: told.textContent, column: data.columns[i], graph: null});
    place.addEventListener('keydown', event => {
      const act = keys[event.key];
      if (!act || event.ctrlKey || event.metaKey || event.altKey) return;
      event.preventDefault();
      act();
    });
    near.observe(place);
  });
  const day = 24 * 3600 * 1000;
  const tools = {
    whole: () => show(...whole), month: () => show(whole[1] - 30 * day, whole[1]), week: () => show(whole[1] - 7 * day, whole[1]),
    day: () => show(whole[1] - day, whole[1]), closer: () => zoom(0.5), wider: () => zoom(2), earlier: () => move(-0.5), later: () => move(0.5),
  };
  for (const [name, act] of Object.entries(tools)) document.getElementById(name).addEventListener('click', act);
  document.querySelectorAll('[data-from]').forEach(link => link.addEventListener('click', () => {
    const from = Number(link.dataset.from), to = Number(link.dataset.to), around = Math.max(to - from, 3600 * 1000);
    show(from - around, to + around);
    plots[0]?.place.scrollIntoView({block: 'center'});
  }));

  const recolour = () => plots.forEach(plot => plot.graph?.updateOptions(optionsOf()));
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', recolour);
  const paper = on => {
    root.classList.toggle('printing', on);
    for (const plot of plots) {
      draw(plot);
      plot.place.style.width = on ? '680px' : '';
      plot.graph.resize();
      plot.graph.updateOptions(optionsOf());
      // Canvases that have just been drawn may be printed as empty: pictures of them are not.
      plot.place.querySelectorAll('img').forEach(picture => picture.remove());
      if (on) plot.place.querySelectorAll('canvas').forEach(canvas => {
        const picture = new Image();
        picture.src = canvas.toDataURL();
        picture.style.cssText = canvas.style.cssText;
        canvas.after(picture);
      });
    }
  };
  addEventListener('beforeprint', () => paper(true));
  addEventListener('afterprint', () => paper(false));
  addEventListener('resize', () => show(...shown));
  show(...whole);
  plots.slice(0, 3).forEach(draw);
})();
